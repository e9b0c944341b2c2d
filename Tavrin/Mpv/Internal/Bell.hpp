#pragma once

#include <chrono>
#include <utility>

#include "Tavrin/Foundation/Mutex.hpp"

namespace tavrin {

/// Wakes one waiting thread; rings before the wait are not lost, and several count as one.
class Bell {
 public:
  /// Any thread.
  void ring() {
    {
      const LockGuard lock(mutex_);
      hasRung_ = true;
    }
    rung_.notify_one();
  }

  void wait() {
    const LockGuard lock(mutex_);
    while (!hasRung_) rung_.wait(mutex_);
    hasRung_ = false;
  }

  /// Returns whether it rang before the deadline.
  bool waitUntil(std::chrono::steady_clock::time_point deadline) {
    const LockGuard lock(mutex_);
    while (!hasRung_) {
      if (rung_.wait_until(mutex_, deadline) == std::cv_status::timeout) break;
    }
    return std::exchange(hasRung_, false);
  }

 private:
  Mutex mutex_;
  ConditionVariable rung_;
  bool hasRung_ TAVRIN_GUARDED_BY(mutex_) = false;
};

}  // namespace tavrin
