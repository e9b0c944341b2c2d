#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>

namespace tavrin::benchmarks {

using Clock = std::chrono::steady_clock;

inline double millisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

/// The median, over seven rounds, of the nanoseconds that one of `calls` calls takes.
template <class Call>
double medianNanoseconds(std::int64_t calls, Call&& call) {
  std::array<double, 7> rounds{};
  for (auto& round : rounds) {
    const auto start = Clock::now();
    for (std::int64_t i = 0; i < calls; ++i) call();
    round = millisecondsSince(start) * 1e6 / static_cast<double>(calls);
  }
  std::ranges::sort(rounds);
  return rounds[rounds.size() / 2];
}

}  // namespace tavrin::benchmarks
