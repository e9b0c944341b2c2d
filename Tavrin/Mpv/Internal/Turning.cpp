#include "Tavrin/Mpv/Internal/Turning.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

namespace tavrin {

namespace {

constexpr std::ptrdiff_t pixelSize = 4;
constexpr std::size_t alignment = 64;  // bytes; what libmpv draws fastest to

// A square of pixels this wide is turned at once, so that neither side leaves the CPU's cache.
constexpr int tile = 32;

/// Where the source's pixel (0, 0) goes, and how far the target moves for a step in the source.
struct Walk {
  std::byte* start;
  std::ptrdiff_t right;  // bytes
  std::ptrdiff_t down;   // bytes
};

Walk walkOf(Turn turn, const PixelBuffer& target) {
  const auto at = [&](int x, int y) { return target.pixels + y * target.stride + x * pixelSize; };
  const int lastX = target.width - 1;
  const int lastY = target.height - 1;
  switch (turn) {
    case Turn::quarter:
      return {at(lastX, 0), target.stride, -pixelSize};
    case Turn::half:
      return {at(lastX, lastY), -pixelSize, -target.stride};
    case Turn::threeQuarters:
      return {at(0, lastY), -target.stride, pixelSize};
    default:
      return {at(0, 0), pixelSize, target.stride};
  }
}

}  // namespace

Turn turnOfDegrees(double degrees) {
  const auto quarters = std::lround(std::remainder(degrees, 360.0) / 90);
  return static_cast<Turn>((quarters + 4) % 4);
}

void copyTurned(const PixelBuffer& source, Turn turn, const PixelBuffer& target) {
  const Walk walk = walkOf(turn, target);
  for (int top = 0; top < source.height; top += tile) {
    for (int left = 0; left < source.width; left += tile) {
      const int bottom = std::min(top + tile, source.height);
      const int right = std::min(left + tile, source.width);
      for (int y = top; y < bottom; ++y) {
        const auto* from = source.pixels + y * source.stride + left * pixelSize;
        auto* to = walk.start + y * walk.down + left * walk.right;
        for (int x = left; x < right; ++x, from += pixelSize, to += walk.right) {
          std::memcpy(to, from, pixelSize);
        }
      }
    }
  }
}

PixelBuffer TurningSurface::before(Turn turn, const PixelBuffer& target) {
  PixelBuffer surface{nullptr, target.width, target.height, 0};
  if (turn == Turn::quarter || turn == Turn::threeQuarters)
    std::swap(surface.width, surface.height);
  const auto row = static_cast<std::size_t>(surface.width * pixelSize);
  const auto stride = (row + alignment - 1) / alignment * alignment;
  bytes_.resize(stride * static_cast<std::size_t>(surface.height) + alignment);
  void* start = bytes_.data();
  auto space = bytes_.size();
  surface.pixels = static_cast<std::byte*>(std::align(alignment, 1, start, space));
  surface.stride = static_cast<std::ptrdiff_t>(stride);
  return surface;
}

}  // namespace tavrin
