#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace tavrin {

/// Which frame of an animation is due when.
class AnimationTimeline {
 public:
  struct Position {
    std::size_t index = 0;
    /// Until the frame after it is due; absent for a still, and once the last frame stays.
    std::optional<std::chrono::nanoseconds> remaining;
  };

  /// `delays` holds at least one frame, and no delay below 1 ms. All frames are shown `plays`
  /// times, at least once, and then the last one stays; absent, they are shown without end.
  AnimationTimeline(const std::vector<std::chrono::milliseconds>& delays,
                    std::optional<std::int64_t> plays);

  /// `elapsed` counts from the start of the first frame; a negative one counts as 0.
  Position at(std::chrono::nanoseconds elapsed) const;
  std::size_t count() const { return ends_.size(); }
  /// Leaves the first `count` frames, at least 1.
  void truncate(std::size_t count);

 private:
  std::vector<std::chrono::milliseconds> ends_;  // of each frame, from the start of a round
  std::optional<std::int64_t> plays_;
};

}  // namespace tavrin
