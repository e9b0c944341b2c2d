#pragma once

#include "Platform/FFmpeg/FFmpegHandles.hpp"
#include "Platform/View/Bitmap.hpp"

namespace tavrin {

/// Turns decoded frames of any pixel format into bitmaps.
class RGBAConverter {
 public:
  /// Null when the format is not known or there is no memory.
  std::shared_ptr<const Bitmap> convert(const AVFrame& frame);

 private:
  bool prepare(const AVFrame& frame);
  const AVFrame* scale(const AVFrame& frame);

  FFmpegHandle<SwsContext> scaler_;
  FFmpegHandle<AVFrame> rows_;
};

}  // namespace tavrin
