#include "Platform/FFmpeg/RGBAConverter.hpp"

#include <cstddef>

namespace tavrin {

// The scaler's vector code may write past the end of a row that is not padded, so it writes into
// padded rows, which are then copied.
bool RGBAConverter::prepare(const AVFrame& frame) {
  scaler_.reset(sws_getCachedContext(
      scaler_.release(), frame.width, frame.height, static_cast<AVPixelFormat>(frame.format),
      frame.width, frame.height, AV_PIX_FMT_RGBA, SWS_POINT, nullptr, nullptr, nullptr));
  if (!scaler_) return false;
  if (rows_ && rows_->width == frame.width && rows_->height == frame.height) return true;
  rows_.reset(av_frame_alloc());
  if (!rows_) return false;
  rows_->format = AV_PIX_FMT_RGBA;
  rows_->width = frame.width;
  rows_->height = frame.height;
  return av_frame_get_buffer(rows_.get(), 0) >= 0;
}

const AVFrame* RGBAConverter::scale(const AVFrame& frame) {
  if (!prepare(frame)) {
    rows_.reset();
    return nullptr;
  }
  const int height = sws_scale(scaler_.get(), frame.data, frame.linesize, 0, frame.height,
                               rows_->data, rows_->linesize);
  return height == frame.height ? rows_.get() : nullptr;
}

std::shared_ptr<const Bitmap> RGBAConverter::convert(const AVFrame& frame) {
  const AVFrame* const source = frame.format == AV_PIX_FMT_RGBA ? &frame : scale(frame);
  if (source == nullptr) return nullptr;
  auto bitmap = std::make_shared<Bitmap>();
  bitmap->width = frame.width;
  bitmap->height = frame.height;
  bitmap->pixels.reserve(static_cast<std::size_t>(Bitmap::byteCount(frame.width, frame.height)));
  const auto rowBytes = std::ptrdiff_t{frame.width} * Bitmap::bytesPerPixel;
  for (int y = 0; y < frame.height; ++y) {
    const std::uint8_t* row = source->data[0] + std::ptrdiff_t{y} * source->linesize[0];
    bitmap->pixels.insert(bitmap->pixels.end(), row, row + rowBytes);
  }
  return bitmap;
}

}  // namespace tavrin
