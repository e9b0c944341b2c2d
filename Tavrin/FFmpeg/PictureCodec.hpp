#pragma once

#include <cstdint>

#include "Tavrin/FFmpeg/FFmpegHandles.hpp"
#include "Tavrin/FFmpeg/PictureParts.hpp"

namespace tavrin {

/// One of libavcodec's decoders, for files of one picture each.
///
/// Bytes from the network reach the decoder that is named here and no other parser of the
/// library's: many of the containers that it would recognise open files and addresses of their own.
class PictureCodec {
 public:
  /// `name` is the library's. A picture of more than `pixels` is not decoded. Each halving, at most
  /// 3, makes the picture half as wide and high; only the JPEG decoder can.
  PictureCodec(const char* name, std::int64_t pixels, int halvings = 0);

  /// Null when it cannot be decoded. The frame stays until the next call.
  const AVFrame* decode(const PictureParts& file);

 private:
  bool open();
  bool fill(const PictureParts& file);

  const char* const name_;
  const std::int64_t pixels_;
  const int halvings_;
  FFmpegHandle<AVCodecContext> codec_;
  FFmpegHandle<AVPacket> packet_;
  FFmpegHandle<AVFrame> frame_;
};

}  // namespace tavrin
