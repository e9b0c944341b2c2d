#pragma once

#include <algorithm>
#include <chrono>
#include <functional>

#include "Platform/Foundation/DispatchQueue.hpp"

namespace tavrin::load {

using Clock = std::chrono::steady_clock;

/// Pumps the main queue as a host does, and knows for how long it was kept from its next job at
/// most. Main thread only.
class MainLoop {
 public:
  /// Until the condition holds, asked again after at most a millisecond and after each job. Returns
  /// whether it does.
  bool pumpUntil(const std::function<bool()>& done, std::chrono::nanoseconds timeout) {
    const auto deadline = Clock::now() + timeout;
    while (!done()) {
      if (Clock::now() >= deadline) return false;
      turn();
    }
    return true;
  }
  void pumpFor(std::chrono::nanoseconds time) {
    pumpUntil([] { return false; }, time);
  }
  /// Makes a call of the host, whose time counts too.
  void call(const std::function<void()>& action) {
    const auto start = Clock::now();
    action();
    longest_ = std::max(longest_, millisecondsSince(start));
  }

  double longestBlockMilliseconds() const { return longest_; }

 private:
  // A turn ends after the first job that ends later than a millisecond from here. So what it takes
  // beyond that is no more than one job, or the machine's own delay.
  void turn() {
    const auto start = Clock::now();
    DispatchQueue::main().runUntil([] { return false; }, std::chrono::milliseconds(1));
    longest_ = std::max(longest_, millisecondsSince(start) - 1);
  }

  static double millisecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
  }

  double longest_ = 0;
};

}  // namespace tavrin::load
