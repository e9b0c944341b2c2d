#include "Tavrin/Testing/ManualExecutor.hpp"

namespace tavrin::testing {

bool ManualExecutor::runOne() {
  if (jobs_.empty()) return false;
  const auto chosen = isShuffled_ ? random_() % jobs_.size() : 0;
  const auto at = jobs_.begin() + static_cast<std::ptrdiff_t>(chosen);
  const Job job = std::move(*at);
  jobs_.erase(at);
  job();
  return true;
}

void ManualExecutor::runAll() {
  while (runOne()) {
  }
}

void ManualExecutor::settle(DispatchQueue& queue) {
  while (runOne() || queue.poll()) {
  }
}

}  // namespace tavrin::testing
