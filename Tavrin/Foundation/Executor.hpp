#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "Platform/Foundation/Mutex.hpp"

namespace tavrin {

/// Something that runs jobs. Jobs must not throw.
class Executor {
 public:
  using Job = std::function<void()>;

  virtual ~Executor() = default;

  /// Takes a job to be run once. Any thread; returns without waiting for the job.
  virtual void post(Job job) = 0;

  /// The process's concurrent executor: effects, cache operations with their whole-file reads, and
  /// image decoding. Drained at exit; a job posted after that is dropped.
  static Executor& shared();
};

/// Runs jobs on threads of its own, several at once, started in the order they were posted.
class ThreadPool final : public Executor {
 public:
  explicit ThreadPool(std::size_t threads);
  ~ThreadPool() override { stop(); }

  void post(Job job) override;

  /// Runs what is queued, and what that posts, then joins the threads. Later jobs are dropped. Not
  /// from a job.
  void stop();

 private:
  void work();
  bool isDrained() const TAVRIN_REQUIRES(mutex_);

  mutable Mutex mutex_;
  ConditionVariable changed_;
  std::deque<Job> jobs_ TAVRIN_GUARDED_BY(mutex_);
  std::size_t running_ TAVRIN_GUARDED_BY(mutex_) = 0;
  bool stopping_ TAVRIN_GUARDED_BY(mutex_) = false;
  // Touched by the constructor and by stop() alone.
  std::vector<std::thread> threads_;
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
