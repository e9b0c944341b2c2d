#pragma once

#include <deque>
#include <random>
#include <utility>

#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/Foundation/Executor.hpp"

namespace tavrin::testing {

/// Runs its jobs when the test says so, on the test's thread: in order, or in an order that a seed
/// chooses. Jobs are posted from that thread alone.
class ManualExecutor final : public Executor {
 public:
  ManualExecutor() = default;
  explicit ManualExecutor(std::uint64_t seed) : random_(seed), isShuffled_(true) {}

  void post(Job job) override { jobs_.push_back(std::move(job)); }
  bool isEmpty() const { return jobs_.empty(); }
  /// Runs one job and returns whether there was one.
  bool runOne();
  /// Runs jobs, those they post included, until none is left.
  void runAll();
  /// The same, and the queue's jobs with them.
  void settle(DispatchQueue& queue);

 private:
  std::deque<Job> jobs_;
  std::mt19937_64 random_;
  bool isShuffled_ = false;
};

}  // namespace tavrin::testing
