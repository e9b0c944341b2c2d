#include "Tests/App/PictureFile.hpp"

#include <cstdlib>
#include <utility>

#include "Tavrin/Foundation/FileManager.hpp"
#include "Tavrin/View/ImageDecoder.hpp"

namespace tavrin::testing {

bool Pixel::isNear(const Pixel& other) const {
  constexpr int tolerance = 10;
  return std::abs(red - other.red) <= tolerance && std::abs(green - other.green) <= tolerance &&
         std::abs(blue - other.blue) <= tolerance;
}

std::optional<PictureFile> PictureFile::png(const std::string& path) {
  const auto bytes = FileManager::contents(path);
  const auto decoder = bytes ? ImageDecoder::open(*bytes).decoder : nullptr;
  const auto bitmap = decoder ? decoder->next() : nullptr;
  if (!bitmap) return std::nullopt;
  return PictureFile(*bitmap);
}

// An X window dump: a head of big-endian words, a table of colours, then rows of words that hold
// blue in their lowest byte.
std::optional<PictureFile> PictureFile::screen(const std::string& path) {
  const auto bytes = FileManager::contents(path);
  constexpr std::int64_t headWords = 25;
  if (!bytes || bytes->count() < 4 * headWords) return std::nullopt;
  const auto* raw = reinterpret_cast<const unsigned char*>(bytes->bytes());
  const auto word = [raw](std::size_t i) {
    return std::int64_t{raw[4 * i]} << 24 | raw[4 * i + 1] << 16 | raw[4 * i + 2] << 8 |
           raw[4 * i + 3];
  };
  constexpr std::int64_t colorSize = 12;
  const auto start = word(0) + word(19) * colorSize;
  const auto stride = word(12);
  Bitmap bitmap{static_cast<int>(word(4)), static_cast<int>(word(5)), {}};
  if (word(11) != 32 || bytes->count() < start + stride * bitmap.height) return std::nullopt;
  for (int y = 0; y < bitmap.height; ++y) {
    const auto* row = raw + start + stride * y;
    for (int x = 0; x < bitmap.width; ++x, row += 4) {
      bitmap.pixels.insert(bitmap.pixels.end(), {row[2], row[1], row[0], 255});
    }
  }
  return PictureFile(std::move(bitmap));
}

Pixel PictureFile::at(double x, double y) const {
  const auto offset = static_cast<std::size_t>(
      Bitmap::byteCount(bitmap_.width, static_cast<int>(y)) + static_cast<int>(x) * 4);
  return {bitmap_.pixels.at(offset), bitmap_.pixels.at(offset + 1), bitmap_.pixels.at(offset + 2)};
}

double PictureFile::share(const Rect& rect, const Pixel& color) const {
  int all = 0;
  int near = 0;
  for (double y = rect.y; y < rect.y + rect.height; ++y) {
    for (double x = rect.x; x < rect.x + rect.width; ++x) {
      ++all;
      near += at(x, y).isNear(color) ? 1 : 0;
    }
  }
  return static_cast<double>(near) / all;
}

}  // namespace tavrin::testing
