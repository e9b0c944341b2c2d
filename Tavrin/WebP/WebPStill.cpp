#include "Tavrin/WebP/WebPStill.hpp"

#include <utility>

#include "Tavrin/WebP/WebPHandles.hpp"

namespace tavrin {

std::shared_ptr<const Bitmap> WebPStill::decode() {
  WebPDecoderConfig config;
  if (WebPInitDecoderConfig(&config) == 0) return nullptr;
  auto bitmap = std::make_shared<Bitmap>();
  bitmap->width = size_.width;
  bitmap->height = size_.height;
  bitmap->pixels.resize(static_cast<std::size_t>(Bitmap::byteCount(size_.width, size_.height)));
  config.options.use_scaling = 1;
  config.options.scaled_width = size_.width;
  config.options.scaled_height = size_.height;
  config.output.colorspace = MODE_RGBA;
  config.output.is_external_memory = 1;
  config.output.u.RGBA = {bitmap->pixels.data(), size_.width * Bitmap::bytesPerPixel,
                          bitmap->pixels.size()};
  const auto data = webPData(bytes_);
  if (WebPDecode(data.bytes, data.size, &config) != VP8_STATUS_OK) return nullptr;
  return orientation_.upright(std::move(bitmap));
}

}  // namespace tavrin
