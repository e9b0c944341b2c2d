#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <thread>

#include "Tavrin/Foundation/Executor.hpp"
#include "Tavrin/Foundation/Mutex.hpp"

namespace tavrin {

/// A queue whose jobs run, in order, on the one thread that owns it and pumps it.
///
/// The owner either gives the thread to `run()`, or pumps `poll()` from a loop of its own whenever
/// the wake-up hook has fired.
class DispatchQueue final : public Executor {
 public:
  /// A queue owned by the calling thread.
  DispatchQueue() : owner_(std::this_thread::get_id()) {}

  /// The process's main queue. It belongs to the thread that loaded the library, which is the main
  /// thread as a rule, unless another has taken it with `adopt()`. Never destroyed.
  static DispatchQueue& main();

  /// Makes the calling thread the owner. Call it before anything else uses the queue.
  void adopt() { owner_ = std::this_thread::get_id(); }
  /// Whether the caller is on the owning thread. Any thread.
  bool isCurrent() const { return owner_ == std::this_thread::get_id(); }

  /// Queues a job. Any thread; never runs it at once.
  void async(Job job) { post(std::move(job)); }
  void post(Job job) override;

  /// Runs the jobs that are queued now and returns whether there was one. Rings the wake-up hook at
  /// the end when jobs are left: those that came meanwhile, and those behind a job that threw.
  /// Owner only; may be called from inside a job.
  bool poll();
  /// Runs jobs until `done` returns true, asked before each wait and after each job, or until the
  /// time is up, which only the job that is running then can overrun. Returns what `done` last
  /// said. Owner only.
  bool runUntil(const std::function<bool()>& done, std::chrono::nanoseconds timeout);
  /// Runs jobs until `stop()`. Owner only.
  void run();
  /// Ends `run()` after the job it is in. Any thread.
  void stop();

  /// Sets what is called each time the queue goes from empty to not empty, on the posting thread,
  /// and when `poll` leaves jobs, on the owner. It must not throw, nor call back into the queue.
  /// Set it before other threads post.
  void setWakeUp(std::function<void()> wakeUp);

 private:
  class RingsForTheRest;

  bool runOne();

  std::thread::id owner_;  // changed by adopt() alone, before the queue is shared
  Mutex mutex_;
  ConditionVariable changed_;
  std::deque<Job> jobs_ TAVRIN_GUARDED_BY(mutex_);
  bool stopped_ TAVRIN_GUARDED_BY(mutex_) = false;
  std::function<void()> wakeUp_ TAVRIN_GUARDED_BY(mutex_);
};

}  // namespace tavrin
