#pragma once

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

namespace tavrin::benchmarks {

using Clock = std::chrono::steady_clock;

inline double millisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

inline double secondsSince(Clock::time_point start) { return millisecondsSince(start) / 1000; }

/// No number without values.
inline double median(std::vector<double> values) {
  if (values.empty()) return std::nan("");
  std::ranges::sort(values);
  return values[values.size() / 2];
}

/// The median of ours over theirs, measured in turns, so that what else the machine does meets
/// both.
template <class Ours, class Theirs>
double medianRatio(int rounds, const Ours& ours, const Theirs& theirs) {
  std::vector<double> ratios;
  for (int i = 0; i < rounds; ++i) {
    const double value = ours();
    ratios.push_back(value / theirs());
  }
  return median(ratios);
}

/// The median, over seven rounds, of the nanoseconds that one of `calls` calls takes.
template <class Call>
double medianNanoseconds(std::int64_t calls, Call&& call) {
  std::vector<double> rounds(7);
  for (auto& round : rounds) {
    const auto start = Clock::now();
    for (std::int64_t i = 0; i < calls; ++i) call();
    round = millisecondsSince(start) * 1e6 / static_cast<double>(calls);
  }
  return median(std::move(rounds));
}

}  // namespace tavrin::benchmarks
