#pragma once

#include <algorithm>
#include <chrono>
#include <functional>

#include "Tavrin/Foundation/DispatchQueue.hpp"

namespace tavrin::load {

using Clock = std::chrono::steady_clock;

/// What a host's own handlers throw. It catches that around its calls, and goes on.
struct HostError {};

inline double millisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

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
    try {
      action();
    } catch (const HostError&) {
    }
    longest_ = std::max(longest_, millisecondsSince(start));
  }

  double longestBlockMilliseconds() const { return longest_; }

 private:
  // A turn ends after the first job that ends later than a millisecond from here. So what it takes
  // beyond that is no more than one job, or the machine's own delay.
  void turn() {
    const auto start = Clock::now();
    try {
      DispatchQueue::main().runUntil([] { return false; }, std::chrono::milliseconds(1));
    } catch (const HostError&) {
    }
    longest_ = std::max(longest_, millisecondsSince(start) - 1);
  }

  double longest_ = 0;
};

}  // namespace tavrin::load
