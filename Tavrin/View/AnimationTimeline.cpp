#include "Platform/View/AnimationTimeline.hpp"

#include <algorithm>

namespace tavrin {

using std::chrono::nanoseconds;

AnimationTimeline::AnimationTimeline(const std::vector<std::chrono::milliseconds>& delays) {
  ends_.reserve(delays.size());
  std::chrono::milliseconds end{0};
  for (const auto delay : delays) ends_.push_back(end += delay);
}

AnimationTimeline::Position AnimationTimeline::at(nanoseconds elapsed) const {
  if (ends_.size() == 1) return {};
  const nanoseconds inRound = std::max(elapsed, nanoseconds(0)) % nanoseconds(ends_.back());
  const auto frame = std::ranges::upper_bound(ends_, inRound);
  return {static_cast<std::size_t>(frame - ends_.begin()), *frame - inRound};
}

void AnimationTimeline::truncate(std::size_t count) {
  ends_.resize(std::clamp<std::size_t>(count, 1, ends_.size()));
}

}  // namespace tavrin
