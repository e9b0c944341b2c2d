#pragma once

#include <benchmark/benchmark.h>

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

inline bool holdsNoNumber(const std::vector<double>& values) {
  return values.empty() ||
         std::ranges::any_of(values, [](double each) { return std::isnan(each); });
}

/// No number without values, or when one of them is none.
inline double median(std::vector<double> values) {
  if (holdsNoNumber(values)) return std::nan("");
  std::ranges::sort(values);
  return values[values.size() / 2];
}

/// The largest; no number when the median is none.
inline double worst(const std::vector<double>& values) {
  return holdsNoNumber(values) ? std::nan("") : *std::ranges::max_element(values);
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

/// Takes the median of a benchmark's repetitions, and prints nothing.
class MedianReporter final : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const auto& run : runs) {
      if (run.aggregate_name == "median") nanoseconds_ = run.GetAdjustedRealTime();
    }
  }
  double nanoseconds() const { return nanoseconds_; }

 private:
  double nanoseconds_ = std::nan("");
};

/// The median, over seven rounds, of the nanoseconds that one of `calls` calls takes.
template <class Call>
double medianNanoseconds(std::int64_t calls, Call&& call) {
  benchmark::ClearRegisteredBenchmarks();
  const auto rounds = [&call](benchmark::State& state) {
    for (auto _ : state) call();
  };
  benchmark::RegisterBenchmark("call", rounds)
      ->Iterations(calls)
      ->Repetitions(7)
      ->ReportAggregatesOnly()
      ->UseRealTime();
  MedianReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  return reporter.nanoseconds();
}

}  // namespace tavrin::benchmarks
