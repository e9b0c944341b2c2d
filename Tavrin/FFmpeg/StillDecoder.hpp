#pragma once

#include "Tavrin/FFmpeg/PictureCodec.hpp"
#include "Tavrin/FFmpeg/RGBAConverter.hpp"
#include "Tavrin/View/ImageDecoder.hpp"
#include "Tavrin/View/Internal/Orientation.hpp"

namespace tavrin {

/// A picture that stands still. It holds no decoded picture between two calls.
class StillDecoder final : public ImageDecoder {
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

  const std::vector<std::chrono::milliseconds>& delays() const override { return delays_; }
  std::optional<std::int64_t> plays() const override { return 1; }
  std::shared_ptr<const Bitmap> next() override;
  void rewind() override { isRead_ = false; }

 private:
  const Data bytes_;
  const Source source_;
  const ImageLimits limits_;
  const std::vector<std::chrono::milliseconds> delays_{frameDelay({})};
  bool isRead_ = false;
};

}  // namespace tavrin
