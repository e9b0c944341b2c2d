#include "Tavrin/Mpv/Internal/DrawnPicture.hpp"

#include <cstring>

namespace tavrin {

namespace {

constexpr std::size_t bytesPerPixel = 4;

}  // namespace

void DrawnPicture::drawFrom(MpvLane& lane, int width, int height) {
  if (width <= 0 || height <= 0 || std::int64_t{width} * height > limit) return;
  const auto stride = static_cast<std::size_t>(width) * bytesPerPixel;
  std::vector<std::byte> pixels(stride * static_cast<std::size_t>(height));
  const PixelBuffer target{pixels.data(), width, height, static_cast<std::ptrdiff_t>(stride)};
  if (!lane.draw(target)) return;
  width_ = width;
  height_ = height;
  pixels_.swap(pixels);
}

bool DrawnPicture::copyTo(const PixelBuffer& target) const {
  if (isAbsent() || target.width != width_ || target.height != height_) return false;
  const auto stride = static_cast<std::size_t>(width_) * bytesPerPixel;
  for (int row = 0; row < height_; ++row) {
    std::memcpy(target.pixels + row * target.stride,
                pixels_.data() + static_cast<std::size_t>(row) * stride, stride);
  }
  return true;
}

}  // namespace tavrin
