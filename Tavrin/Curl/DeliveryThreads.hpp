#pragma once

#include <atomic>
#include <cstddef>

#include "Tavrin/Foundation/Executor.hpp"
#include "Tavrin/Foundation/Internal/ProcessEnd.hpp"
#include "Tavrin/Foundation/Mutex.hpp"

namespace tavrin::curl {

/// The threads on which sessions call their delegates: apart from the shared executor and from the
/// transfer thread, so that a delegate that writes files holds up neither.
///
/// Joined at exit, in its time, when the serial queues that stand on it are empty.
class DeliveryThreads final : public Executor {
 public:
  static DeliveryThreads& shared();

  void post(Job job) override;

  /// The process is exiting: what is queued is to be let go. Any thread.
  bool isStopping() const { return isStopping_; }

 private:
  DeliveryThreads();
  void stop(ExitDeadline until);
  void finished();

  std::atomic<bool> isStopping_ = false;
  Mutex mutex_;
  ConditionVariable changed_;
  std::size_t unfinished_ TAVRIN_GUARDED_BY(mutex_) = 0;
  ThreadPool pool_;
};

}  // namespace tavrin::curl
