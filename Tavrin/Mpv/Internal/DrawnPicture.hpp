#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Tavrin/Media/MediaEngine.hpp"
#include "Tavrin/Mpv/Internal/MpvLane.hpp"

namespace tavrin {

/// A lane's picture, drawn before a host asks for it. Scaling a large picture takes longer than all
/// the rest of a step to it.
class DrawnPicture {
 public:
  /// In pixels; larger ones are not drawn beforehand.
  static constexpr std::int64_t limit = std::int64_t{1920} * 1080;

  bool isAbsent() const { return pixels_.empty(); }
  /// Stays absent when the lane has no picture, and for a size that is empty or beyond the limit.
  void drawFrom(MpvLane& lane, int width, int height);
  /// Returns false, with the target untouched, unless it has the picture's size.
  bool copyTo(const PixelBuffer& target) const;

 private:
  int width_ = 0;
  int height_ = 0;
  std::vector<std::byte> pixels_;
};

}  // namespace tavrin
