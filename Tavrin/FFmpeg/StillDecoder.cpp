#include "Tavrin/FFmpeg/StillDecoder.hpp"

#include <utility>

namespace tavrin {

StillDecoder::StillDecoder(Data bytes, Source source, const ImageLimits& limits)
    : bytes_(std::move(bytes)), source_(std::move(source)), limits_(limits) {}

std::shared_ptr<const Bitmap> StillDecoder::decode() {
  std::shared_ptr<const Bitmap> bitmap;
  {
    PictureCodec codec(source_.decoder, limits_.pixels, source_.halvings);
    const AVFrame* const decoded = codec.decode(source_.file);
    if (decoded == nullptr) return nullptr;
    bitmap = RGBAConverter().convert(*decoded, source_.size.within(limits_.side));
  }
  return source_.orientation.upright(std::move(bitmap));
}

}  // namespace tavrin
