#pragma once

#include "Tavrin/FFmpeg/PictureCodec.hpp"
#include "Tavrin/FFmpeg/RGBAConverter.hpp"
#include "Tavrin/View/Internal/Orientation.hpp"
#include "Tavrin/View/Internal/StillPicture.hpp"

namespace tavrin {

/// A still picture that libavcodec decodes.
class StillDecoder final : public StillPicture {
 public:
  struct Source {
    const char* decoder = nullptr;  // libavcodec's name
    PictureParts file;
    PixelSize size;
    Orientation orientation;
    int halvings = 0;
  };

  /// `source` points into the bytes.
  StillDecoder(Data bytes, Source source, const ImageLimits& limits);

 private:
  std::shared_ptr<const Bitmap> decode() override;

  const Data bytes_;
  const Source source_;
  const ImageLimits limits_;
};

}  // namespace tavrin
