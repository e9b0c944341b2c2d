#include "Tavrin/FFmpeg/JPEGScan.hpp"

#include <algorithm>

#include "Tavrin/View/Internal/ByteOrder.hpp"

namespace tavrin {
namespace {

constexpr std::uint32_t lengthBytes = 2;        // a segment's length counts its own
constexpr std::uint32_t applicationOne = 0xE1;  // where cameras put EXIF
constexpr std::uint32_t startOfScan = 0xDA;
constexpr std::uint32_t lastHalvable = 0xC2;  // baseline, extended, progressive

// A frame header: among its numbers are those of three other segments.
bool isFrameHeader(std::uint32_t marker) {
  return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}
bool hasContents(std::uint32_t marker) {
  return marker != 0x01 && (marker < 0xD0 || marker > 0xD9);
}

}  // namespace

JPEGScan JPEGScan::of(std::string_view file) {
  JPEGScan scan;
  while (file.size() >= 4) {
    const auto marker = bigEndian(file, 1, 1);
    if (file.front() != '\xFF' || marker == 0xFF || !hasContents(marker)) {
      file.remove_prefix(file.front() != '\xFF' || marker == 0xFF ? 1 : 2);
      continue;
    }
    const auto segment = file.substr(2, std::max(bigEndian(file, 2, 2), lengthBytes));
    const auto contents = segment.substr(lengthBytes);
    if (marker == applicationOne && contents.starts_with("Exif")) {
      scan.orientation = Orientation::inExif(contents);
    }
    if (isFrameHeader(marker)) {
      scan.size = {static_cast<int>(bigEndian(contents, 3, 2)),
                   static_cast<int>(bigEndian(contents, 1, 2))};
      scan.canBeHalved = marker <= lastHalvable;
    }
    if (marker == startOfScan) break;
    file.remove_prefix(2 + segment.size());
  }
  return scan;
}

int JPEGScan::halvings(int side) const {
  if (!canBeHalved) return 0;
  int count = 0;
  while (count < 3 && size.longerSide() >> (count + 1) >= side) ++count;
  return count;
}

}  // namespace tavrin
