#include <utility>

#include "Tavrin/FFmpeg/AnimationDecoder.hpp"
#include "Tavrin/FFmpeg/GIFFile.hpp"
#include "Tavrin/FFmpeg/JPEGScan.hpp"
#include "Tavrin/FFmpeg/PNGFile.hpp"
#include "Tavrin/FFmpeg/StillDecoder.hpp"
#include "Tavrin/View/ImageDecoder.hpp"
#include "Tavrin/WebP/WebPImage.hpp"

namespace tavrin {
namespace {

using Opened = ImageDecoder::Opened;

Opened openStill(const Data& bytes, StillDecoder::Source source, const ImageLimits& limits) {
  if (auto refusal = source.size.refusal(limits.pixels)) return {nullptr, std::move(*refusal)};
  return {std::make_unique<StillDecoder>(bytes, std::move(source), limits), {}};
}

Opened openAnimation(std::unique_ptr<AnimationFile> file, const ImageLimits& limits) {
  if (auto refusal = file->canvas.refusal(limits.animatedPixels)) {
    return {nullptr, std::move(*refusal)};
  }
  if (file->frames.empty()) return {nullptr, PixelSize::noPicture()};
  return {std::make_unique<AnimationDecoder>(std::move(file), limits), {}};
}

Opened openJPEG(const Data& bytes, const ImageLimits& limits) {
  const auto scan = JPEGScan::of(bytes.text());
  StillDecoder::Source source{"mjpeg", {}, scan.size, scan.orientation, scan.halvings(limits.side)};
  source.file.add(bytes.text());
  return openStill(bytes, std::move(source), limits);
}

Opened openPNG(const Data& bytes, const ImageLimits& limits) {
  auto file = std::make_unique<PNGFile>(bytes, limits.frames);
  if (!file->frames.empty()) return openAnimation(std::move(file), limits);
  if (file->canvas.pixels() == 0) return {nullptr, PixelSize::noPicture()};
  return openStill(bytes, {file->decoder(), file->still(), file->canvas, file->orientation},
                   limits);
}

}  // namespace

Opened ImageDecoder::open(const Data& bytes, const ImageLimits& limits) {
  const auto text = bytes.text();
  if (GIFFile::matches(text)) {
    return openAnimation(std::make_unique<GIFFile>(bytes, limits.frames), limits);
  }
  if (PNGFile::matches(text)) return openPNG(bytes, limits);
  if (text.starts_with("\xFF\xD8\xFF")) return openJPEG(bytes, limits);
  if (WebPImage::matches(text)) return WebPImage::open(bytes, limits);
  return {nullptr, {ErrorCode::unsupported, "the bytes are in no image format that can be shown"}};
}

}  // namespace tavrin
