#include "Tavrin/WebP/WebPImage.hpp"

#include <utility>

#include "Tavrin/WebP/WebPAnimation.hpp"
#include "Tavrin/WebP/WebPStill.hpp"

namespace tavrin {
namespace {

using Opened = ImageDecoder::Opened;

Orientation orientationOf(const Data& bytes) {
  const auto data = webPData(bytes);
  const WebPHandle<WebPDemuxer> demuxer(WebPDemux(&data));
  Orientation orientation;
  WebPChunkIterator chunk;
  if (demuxer && WebPDemuxGetChunk(demuxer.get(), "EXIF", 1, &chunk) != 0) {
    orientation =
        Orientation::inExif({reinterpret_cast<const char*>(chunk.chunk.bytes), chunk.chunk.size});
    WebPDemuxReleaseChunkIterator(&chunk);
  }
  return orientation;
}

// The library cannot scale frames, so an animation must be within the side as it is.
Opened openAnimation(const Data& bytes, PixelSize size, const ImageLimits& limits) {
  if (auto refusal = size.refusal(limits.animatedPixels)) return {nullptr, std::move(*refusal)};
  if (size.longerSide() > limits.side) {
    return {nullptr,
            {ErrorCode::tooLarge, "an animated WebP may have at most " +
                                      std::to_string(limits.side) + " pixels a side"}};
  }
  auto animation = std::make_unique<WebPAnimation>(bytes, limits.frames);
  if (!animation->isOpen()) return {nullptr, PixelSize::noPicture()};
  return {std::move(animation), {}};
}

Opened openStill(const Data& bytes, PixelSize size, const ImageLimits& limits) {
  if (auto refusal = size.refusal(limits.pixels)) return {nullptr, std::move(*refusal)};
  return {std::make_unique<WebPStill>(bytes, size.within(limits.side), orientationOf(bytes)), {}};
}

}  // namespace

bool WebPImage::matches(std::string_view file) {
  return file.starts_with("RIFF") && file.substr(4).substr(0, 8).ends_with("WEBP");
}

Opened WebPImage::open(const Data& bytes, const ImageLimits& limits) {
  const auto data = webPData(bytes);
  WebPBitstreamFeatures features;
  if (WebPGetFeatures(data.bytes, data.size, &features) != VP8_STATUS_OK) {
    return {nullptr, PixelSize::noPicture()};
  }
  const PixelSize size{features.width, features.height};
  return features.has_animation != 0 ? openAnimation(bytes, size, limits)
                                     : openStill(bytes, size, limits);
}

}  // namespace tavrin
