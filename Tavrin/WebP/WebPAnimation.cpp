#include "Tavrin/WebP/WebPAnimation.hpp"

#include <utility>

namespace tavrin {

WebPAnimation::WebPAnimation(Data bytes, std::int64_t limit) : bytes_(std::move(bytes)) {
  WebPAnimDecoderOptions options;
  if (WebPAnimDecoderOptionsInit(&options) == 0) return;
  options.color_mode = MODE_RGBA;
  const auto data = webPData(bytes_);
  decoder_.reset(WebPAnimDecoderNew(&data, &options));
  if (!decoder_ || WebPAnimDecoderGetInfo(decoder_.get(), &info_) == 0) return;
  if (info_.loop_count > 0) plays_ = info_.loop_count;
  collectDelays(limit);
}

void WebPAnimation::collectDelays(std::int64_t limit) {
  const WebPDemuxer* const demuxer = WebPAnimDecoderGetDemuxer(decoder_.get());
  WebPIterator frame;
  bool isThere = WebPDemuxGetFrame(demuxer, 1, &frame) != 0;
  for (; isThere && std::ssize(delays_) < limit; isThere = WebPDemuxNextFrame(&frame) != 0) {
    delays_.push_back(frameDelay(std::chrono::milliseconds(frame.duration)));
  }
  WebPDemuxReleaseIterator(&frame);
}

std::shared_ptr<const Bitmap> WebPAnimation::next() {
  if (position_ == delays_.size()) return nullptr;
  std::uint8_t* canvas = nullptr;
  int timestamp = 0;
  if (WebPAnimDecoderGetNext(decoder_.get(), &canvas, &timestamp) == 0) {
    position_ = delays_.size();
    return nullptr;
  }
  ++position_;
  auto bitmap = std::make_shared<Bitmap>();
  bitmap->width = static_cast<int>(info_.canvas_width);
  bitmap->height = static_cast<int>(info_.canvas_height);
  bitmap->pixels.assign(canvas, canvas + Bitmap::byteCount(bitmap->width, bitmap->height));
  return bitmap;
}

void WebPAnimation::rewind() {
  WebPAnimDecoderReset(decoder_.get());
  position_ = 0;
}

}  // namespace tavrin
