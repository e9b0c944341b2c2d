#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <vector>

namespace tavrin {

/// Which frame of an animation is due when. It plays over and over, whatever loop count its file
/// names.
class AnimationTimeline {
 public:
  struct Position {
    std::size_t index = 0;
    /// Until the frame after it is due; absent for a still.
    std::optional<std::chrono::nanoseconds> remaining;
  };

  /// `delays` holds at least one frame, and no delay below 1 ms.
  explicit AnimationTimeline(const std::vector<std::chrono::milliseconds>& delays);

  /// `elapsed` counts from the start of the first frame; a negative one counts as 0.
  Position at(std::chrono::nanoseconds elapsed) const;
  std::size_t count() const { return ends_.size(); }
  /// Leaves the first `count` frames, at least 1.
  void truncate(std::size_t count);

 private:
  std::vector<std::chrono::milliseconds> ends_;  // of each frame, from the start of a round
};

}  // namespace tavrin
