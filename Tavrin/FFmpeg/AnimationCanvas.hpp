#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "Tavrin/FFmpeg/AnimationFile.hpp"
#include "Tavrin/View/Bitmap.hpp"

namespace tavrin {

/// Where the frames of an animation are put one over another. Starts transparent, as browsers do,
/// whatever background the file names; what reaches outside is clipped.
class AnimationCanvas {
 public:
  explicit AnimationCanvas(PixelSize size);

  /// Puts a frame's picture on it. What the frame before it leaves behind is settled first.
  void draw(const AnimationFrame& frame, const Bitmap& picture);
  const Bitmap& bitmap() const { return bitmap_; }
  void clear();

 private:
  struct Span;

  Span inside(const AnimationFrame& frame) const;
  std::uint8_t* pixel(int x, int y);
  void settle();

  Bitmap bitmap_;
  std::vector<std::uint8_t> saved_;  // while the frame on it is one to restore from
  AnimationFrame shown_;             // without a size before the first frame
};

}  // namespace tavrin
