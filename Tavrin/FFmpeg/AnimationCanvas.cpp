#include "Tavrin/FFmpeg/AnimationCanvas.hpp"

#include <algorithm>
#include <cstddef>

namespace tavrin {
namespace {

using Disposal = AnimationFrame::Disposal;

// Puts one pixel over another; alpha is not premultiplied.
void blend(std::uint8_t* target, const std::uint8_t* source) {
  const unsigned above = source[3];
  const unsigned below = target[3] * (255 - above) / 255;
  const unsigned alpha = above + below;
  for (int i = 0; i < 3; ++i) {
    target[i] = static_cast<std::uint8_t>((source[i] * above + target[i] * below) / alpha);
  }
  target[3] = static_cast<std::uint8_t>(alpha);
}

void blendRow(std::uint8_t* target, const std::uint8_t* source, int count) {
  for (; count > 0; --count, target += Bitmap::bytesPerPixel, source += Bitmap::bytesPerPixel) {
    if (source[3] == 255) {
      std::copy_n(source, Bitmap::bytesPerPixel, target);
    } else if (source[3] != 0) {
      blend(target, source);
    }
  }
}

}  // namespace

/// The part of a frame that lies on the canvas.
struct AnimationCanvas::Span {
  int left, top, right, bottom;
  int width() const { return std::max(0, right - left); }
};

AnimationCanvas::AnimationCanvas(PixelSize size) {
  bitmap_.width = size.width;
  bitmap_.height = size.height;
  clear();
}

void AnimationCanvas::clear() {
  bitmap_.pixels.assign(static_cast<std::size_t>(Bitmap::byteCount(bitmap_.width, bitmap_.height)),
                        0);
  shown_ = {};
}

AnimationCanvas::Span AnimationCanvas::inside(const AnimationFrame& frame) const {
  const auto end = [](int start, int length, int limit) {
    return static_cast<int>(std::clamp<std::int64_t>(std::int64_t{start} + length, 0, limit));
  };
  return {std::max(0, frame.x), std::max(0, frame.y), end(frame.x, frame.size.width, bitmap_.width),
          end(frame.y, frame.size.height, bitmap_.height)};
}

std::uint8_t* AnimationCanvas::pixel(int x, int y) {
  return bitmap_.pixels.data() + Bitmap::byteCount(bitmap_.width, y) + Bitmap::byteCount(x, 1);
}

void AnimationCanvas::settle() {
  if (shown_.disposal == Disposal::restore && !saved_.empty()) bitmap_.pixels.swap(saved_);
  if (shown_.disposal != Disposal::clear) return;
  const auto part = inside(shown_);
  if (part.width() == 0) return;
  for (int y = part.top; y < part.bottom; ++y) {
    std::fill_n(pixel(part.left, y), Bitmap::byteCount(part.width(), 1), std::uint8_t{0});
  }
}

void AnimationCanvas::draw(const AnimationFrame& frame, const Bitmap& picture) {
  settle();
  shown_ = frame;
  if (frame.disposal == Disposal::restore) saved_ = bitmap_.pixels;
  const auto part = inside(frame);
  if (part.width() == 0) return;
  for (int y = part.top; y < part.bottom; ++y) {
    const auto* source = picture.pixels.data() + Bitmap::byteCount(picture.width, y - frame.y) +
                         Bitmap::byteCount(part.left - frame.x, 1);
    auto* target = pixel(part.left, y);
    if (frame.isBlended) {
      blendRow(target, source, part.width());
    } else {
      std::copy_n(source, Bitmap::byteCount(part.width(), 1), target);
    }
  }
}

}  // namespace tavrin
