#include "Tavrin/FFmpeg/RGBAConverter.hpp"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace tavrin {
namespace {

// Padded: the scaler's vector code may touch bytes past the end of a row that is not.
FFmpegHandle<AVFrame> paddedRows(PixelSize size) {
  FFmpegHandle<AVFrame> rows(av_frame_alloc());
  if (!rows) return nullptr;
  rows->format = AV_PIX_FMT_RGBA;
  rows->width = size.width;
  rows->height = size.height;
  return av_frame_get_buffer(rows.get(), 0) >= 0 ? std::move(rows) : nullptr;
}

std::uint8_t* row(const AVFrame& frame, int y) {
  return frame.data[0] + std::ptrdiff_t{y} * frame.linesize[0];
}

}  // namespace

bool RGBAConverter::prepare(const AVFrame& frame, PixelSize size) {
  const bool isSameSize = size == PixelSize{frame.width, frame.height};
  scaler_.reset(sws_getCachedContext(scaler_.release(), frame.width, frame.height,
                                     static_cast<AVPixelFormat>(frame.format), size.width,
                                     size.height, AV_PIX_FMT_RGBA,
                                     isSameSize ? SWS_POINT : SWS_AREA, nullptr, nullptr, nullptr));
  if (!scaler_) return false;
  if (!rows_ || PixelSize{rows_->width, rows_->height} != size) rows_ = paddedRows(size);
  return rows_ != nullptr;
}

const AVFrame* RGBAConverter::scale(const AVFrame& frame, PixelSize size) {
  if (!prepare(frame, size)) return nullptr;
  const int height = sws_scale(scaler_.get(), frame.data, frame.linesize, 0, frame.height,
                               rows_->data, rows_->linesize);
  return height == size.height ? rows_.get() : nullptr;
}

std::shared_ptr<const Bitmap> RGBAConverter::convert(const AVFrame& frame, PixelSize size) {
  const bool isReady =
      frame.format == AV_PIX_FMT_RGBA && size == PixelSize{frame.width, frame.height};
  const AVFrame* const source = isReady ? &frame : scale(frame, size);
  if (source == nullptr) return nullptr;
  auto bitmap = std::make_shared<Bitmap>();
  bitmap->width = size.width;
  bitmap->height = size.height;
  bitmap->pixels.reserve(static_cast<std::size_t>(Bitmap::byteCount(size.width, size.height)));
  const auto rowBytes = std::ptrdiff_t{size.width} * Bitmap::bytesPerPixel;
  for (int y = 0; y < size.height; ++y) {
    bitmap->pixels.insert(bitmap->pixels.end(), row(*source, y), row(*source, y) + rowBytes);
  }
  return bitmap;
}

std::shared_ptr<const Bitmap> RGBAConverter::within(int side,
                                                    std::shared_ptr<const Bitmap> bitmap) {
  if (!bitmap) return nullptr;
  const PixelSize size{bitmap->width, bitmap->height};
  if (size.within(side) == size) return bitmap;
  const auto padded = paddedRows(size);
  if (!padded) return nullptr;
  const auto rowBytes = Bitmap::byteCount(size.width, 1);
  for (int y = 0; y < size.height; ++y) {
    std::copy_n(bitmap->pixels.data() + rowBytes * y, rowBytes, row(*padded, y));
  }
  return convert(*padded, size.within(side));
}

}  // namespace tavrin
