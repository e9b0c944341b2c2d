#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "Tavrin/View/ImageDecoder.hpp"

// Any bytes are refused, or give at most the frames they announce, each within the limits, and the
// same number again after a rewind.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace tavrin;
  const ImageLimits limits{
      .pixels = 512 * 512, .animatedPixels = 512 * 512, .side = 256, .frames = 32};
  const auto opened = ImageDecoder::open(Data(std::as_bytes(std::span(bytes, size))), limits);
  const auto& decoder = opened.decoder;
  if ((decoder == nullptr) == (opened.error == Error())) std::abort();
  if (!decoder) return 0;
  const auto decodeAll = [&] {
    std::size_t frames = 0;
    while (const auto bitmap = decoder->next()) {
      if (std::max(bitmap->width, bitmap->height) > limits.side) std::abort();
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
