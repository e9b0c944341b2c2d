#include "Tavrin/View/Internal/Orientation.hpp"

#include <cstddef>
#include <cstring>
#include <utility>

#include "Tavrin/View/Internal/ByteOrder.hpp"

namespace tavrin {
namespace {

constexpr std::string_view exifName("Exif\0\0", 6);
constexpr std::size_t entryBytes = 12;
constexpr std::uint32_t orientationTag = 0x0112;

}  // namespace

// The block is a TIFF header, which tells the order of bytes and where the list of entries is.
Orientation Orientation::inExif(std::string_view block) {
  if (block.starts_with(exifName)) block.remove_prefix(exifName.size());
  const auto number = block.starts_with("II") ? littleEndian : bigEndian;
  if (number(block, 2, 2) != 42) return {};
  const std::size_t list = number(block, 4, 4);
  const std::size_t count = number(block, list, 2);
  for (std::size_t i = 0; i < count; ++i) {
    const auto entry = list + 2 + i * entryBytes;
    if (entry + entryBytes > block.size()) break;
    if (number(block, entry, 2) != orientationTag) continue;
    const auto value = number(block, entry + 8, 2);
    if (value >= 1 && value <= 8) return {static_cast<int>(value)};
  }
  return {};
}

std::shared_ptr<const Bitmap> Orientation::upright(std::shared_ptr<const Bitmap> bitmap) const {
  if (!bitmap || number == 1) return bitmap;
  auto turned = std::make_shared<Bitmap>();
  turned->width = isOnItsSide() ? bitmap->height : bitmap->width;
  turned->height = isOnItsSide() ? bitmap->width : bitmap->height;
  turned->pixels.resize(bitmap->pixels.size());
  auto* target = turned->pixels.data();
  for (int y = 0; y < turned->height; ++y) {
    for (int x = 0; x < turned->width; ++x, target += Bitmap::bytesPerPixel) {
      const int across = isOnItsSide() ? y : x;
      const int down = isOnItsSide() ? x : y;
      const int column = isMirroredAcross() ? bitmap->width - 1 - across : across;
      const int row = isMirroredDown() ? bitmap->height - 1 - down : down;
      const auto at = Bitmap::byteCount(bitmap->width, row) + Bitmap::byteCount(column, 1);
      std::memcpy(target, bitmap->pixels.data() + at, Bitmap::bytesPerPixel);
    }
  }
  return turned;
}

}  // namespace tavrin
