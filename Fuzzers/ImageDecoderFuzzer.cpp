#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "Platform/View/ImageDecoder.hpp"

// Any bytes are refused, or give at most the frames they announce, each within the limits, and the
// same number again after a rewind.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace tavrin;
  const ImageLimits limits{.pixels = 512 * 512, .frames = 32};
  const auto decoder = ImageDecoder::open(Data(std::as_bytes(std::span(bytes, size))), limits);
  if (!decoder) return 0;
  const auto decodeAll = [&] {
    std::size_t frames = 0;
    while (const auto bitmap = decoder->next()) {
      if (std::int64_t{bitmap->width} * bitmap->height > limits.pixels) std::abort();
      if (Bitmap::byteCount(bitmap->width, bitmap->height) != std::ssize(bitmap->pixels)) {
        std::abort();
      }
      ++frames;
    }
    return frames;
  };
  const auto frames = decodeAll();
  if (frames > decoder->delays().size() || frames > 32) std::abort();
  decoder->rewind();
  if (decodeAll() != frames) std::abort();
  return 0;
}
