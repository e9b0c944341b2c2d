#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tavrin {

/// A picture in memory: rows from the top, without padding, four bytes a pixel in the order red,
/// green, blue, alpha; alpha is not premultiplied.
struct Bitmap {
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> pixels;

  static constexpr int bytesPerPixel = 4;
  static constexpr std::int64_t byteCount(int width, int height) {
    return std::int64_t{width} * height * bytesPerPixel;
  }
};

}  // namespace tavrin
