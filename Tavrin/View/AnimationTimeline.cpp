#include "Tavrin/View/AnimationTimeline.hpp"

#include <algorithm>

namespace tavrin {

using std::chrono::nanoseconds;

AnimationTimeline::AnimationTimeline(const std::vector<std::chrono::milliseconds>& delays,
                                     std::optional<std::int64_t> plays)
    : plays_(plays) {
  ends_.reserve(delays.size());
  std::chrono::milliseconds end{0};
  for (const auto delay : delays) ends_.push_back(end += delay);
}

AnimationTimeline::Position AnimationTimeline::at(nanoseconds elapsed) const {
  if (ends_.size() == 1) return {};
  const nanoseconds round = ends_.back();
  elapsed = std::max(elapsed, nanoseconds(0));
  if (plays_ && elapsed / round >= *plays_) return {ends_.size() - 1, std::nullopt};
  const nanoseconds inRound = elapsed % round;
  const auto frame = std::ranges::upper_bound(ends_, inRound);
  return {static_cast<std::size_t>(frame - ends_.begin()), *frame - inRound};
}

void AnimationTimeline::truncate(std::size_t count) {
  ends_.resize(std::clamp<std::size_t>(count, 1, ends_.size()));
}

}  // namespace tavrin
