#pragma once

#include "Tavrin/FFmpeg/FFmpegHandles.hpp"
#include "Tavrin/View/Bitmap.hpp"
#include "Tavrin/View/Internal/PixelSize.hpp"

namespace tavrin {

/// Turns decoded frames of any pixel format into bitmaps.
class RGBAConverter {
 public:
  /// The frame in this size. Null when the format is not known or there is no memory.
  std::shared_ptr<const Bitmap> convert(const AVFrame& frame, PixelSize size);
  /// The bitmap itself when neither side is beyond `side`. Null when there is no memory.
  std::shared_ptr<const Bitmap> within(int side, std::shared_ptr<const Bitmap> bitmap);

 private:
  bool prepare(const AVFrame& frame, PixelSize size);
  const AVFrame* scale(const AVFrame& frame, PixelSize size);

  FFmpegHandle<SwsContext> scaler_;
  FFmpegHandle<AVFrame> rows_;
};

}  // namespace tavrin
