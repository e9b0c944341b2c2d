#include "Platform/FFmpeg/PNGScan.hpp"

#include <string_view>

namespace tavrin {
namespace {

constexpr std::string_view signature("\x89PNG\r\n\x1a\n", 8);
// Of a chunk: its length and its type before its contents, a check sum after them.
constexpr std::size_t chunkOverhead = 12;

std::size_t lengthAt(std::string_view chunk) {
  std::size_t length = 0;
  for (const char byte : chunk.substr(0, 4))
    length = length << 8 | static_cast<unsigned char>(byte);
  return length;
}

}  // namespace

PNGScan PNGScan::of(const Data& bytes) {
  PNGScan scan;
  auto rest = bytes.text();
  if (!rest.starts_with(signature)) return scan;
  scan.isPNG = true;
  rest.remove_prefix(signature.size());
  while (rest.size() >= chunkOverhead && lengthAt(rest) <= rest.size() - chunkOverhead) {
    if (rest.substr(4, 4) == "acTL") scan.isAnimated = true;
    rest.remove_prefix(lengthAt(rest) + chunkOverhead);
  }
  scan.wholeBytes = bytes.count() - std::ssize(rest);
  return scan;
}

}  // namespace tavrin
