#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "Tavrin/Foundation/Mutex.hpp"

namespace tavrin {

/// Something that runs jobs. Jobs must not throw.
class Executor {
 public:
  using Job = std::function<void()>;

  virtual ~Executor() = default;

  /// Takes a job to be run once. Any thread; returns without waiting for the job.
  virtual void post(Job job) = 0;

  /// The process's concurrent executor: effects, cache operations, and image decoding. Drained at
  /// exit, for 80 ms at most; a job posted after that is dropped.
  static Executor& shared();
  /// For what may wait for a disk while nobody waits for it. Stopped like the other.
  static Executor& files();
};

/// Runs jobs on threads of its own, several at once, started in the order they were posted.
///
/// It does with fewer threads while the system gives no more, and asks again with each job. While
/// there is not one, jobs run on the main queue. In a child of `fork()` they are dropped.
class ThreadPool final : public Executor {
 public:
  using Clock = std::chrono::steady_clock;

  explicit ThreadPool(std::size_t threads);
  ~ThreadPool() override { stop(); }

  void post(Job job) override;

  /// Runs what is queued, and what that posts, then joins the threads. Later jobs are dropped. When
  /// the time is up first, the jobs that have not begun are left, and so are the threads. A job
  /// that calls it, by ending the process, is not waited for.
  void stop(Clock::time_point until = Clock::time_point::max());
  /// Whether the caller is a job of this pool.
  bool isCurrent() const;

 private:
  void startThreads() TAVRIN_REQUIRES(mutex_);
  void work();
  bool isOver() const TAVRIN_REQUIRES(mutex_);

  const std::size_t wanted_;
  const std::uint64_t process_;
  mutable Mutex mutex_;
  ConditionVariable changed_;
  std::deque<Job> jobs_ TAVRIN_GUARDED_BY(mutex_);
  std::vector<std::thread> threads_ TAVRIN_GUARDED_BY(mutex_);
  std::size_t working_ TAVRIN_GUARDED_BY(mutex_) = 0;  // threads that have not ended
  std::size_t running_ TAVRIN_GUARDED_BY(mutex_) = 0;  // jobs
  std::size_t ending_ TAVRIN_GUARDED_BY(mutex_) = 0;   // 1: a job of ours is ending the process
  bool stopping_ TAVRIN_GUARDED_BY(mutex_) = false;
  bool isLeft_ TAVRIN_GUARDED_BY(mutex_) = false;
};

/// Runs its jobs one at a time, in the order they were posted, on another executor.
/// It lives until its last job has run.
class SerialQueue final : public Executor, public std::enable_shared_from_this<SerialQueue> {
 public:
  /// `target` must outlive the queue and its jobs.
  static std::shared_ptr<SerialQueue> make(Executor& target = Executor::shared());

  void post(Job job) override;

 private:
  explicit SerialQueue(Executor& target) : target_(target) {}
  void runOne();
  void schedule();

  Executor& target_;
  Mutex mutex_;
  std::deque<Job> jobs_ TAVRIN_GUARDED_BY(mutex_);
  bool isScheduled_ TAVRIN_GUARDED_BY(mutex_) = false;
};

}  // namespace tavrin
