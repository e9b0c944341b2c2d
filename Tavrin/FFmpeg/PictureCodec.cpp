#include "Tavrin/FFmpeg/PictureCodec.hpp"

#include <algorithm>
#include <utility>

namespace tavrin {
namespace {

// The library reports every flaw of a file on standard error; here the caller is told instead.
void silenceLogOnce() {
  static const bool silenced = [] {
    av_log_set_level(AV_LOG_QUIET);
    return true;
  }();
  static_cast<void>(silenced);
}

}  // namespace

PictureCodec::PictureCodec(const char* name, std::int64_t pixels, int halvings)
    : name_(name),
      pixels_(pixels),
      halvings_(halvings),
      packet_(av_packet_alloc()),
      frame_(av_frame_alloc()) {
  silenceLogOnce();
}

bool PictureCodec::open() {
  const AVCodec* codec = avcodec_find_decoder_by_name(name_);
  codec_.reset(avcodec_alloc_context3(codec));
  if (!codec_) return false;
  codec_->max_pixels = pixels_;
  codec_->thread_count = 1;
  codec_->lowres = halvings_;
  codec_->err_recognition = 0;  // the parts we make have no check sums
  return avcodec_open2(codec_.get(), codec, nullptr) >= 0;
}

const AVFrame* PictureCodec::decode(const PictureParts& file) {
  if (!packet_ || !frame_ || (!codec_ && !open()) || !fill(file)) return nullptr;
  const bool isDecoded = avcodec_send_packet(codec_.get(), packet_.get()) >= 0 &&
                         avcodec_receive_frame(codec_.get(), frame_.get()) >= 0;
  av_packet_unref(packet_.get());
  if (isDecoded) return frame_.get();
  codec_.reset();
  return nullptr;
}

bool PictureCodec::fill(const PictureParts& file) {
  if (!std::in_range<int>(file.size())) return false;
  if (av_new_packet(packet_.get(), static_cast<int>(file.size())) < 0) return false;
  packet_->flags |= AV_PKT_FLAG_KEY;  // else the PNG decoder adds it to the picture before it
  auto* target = packet_->data;
  for (const auto part : file.all()) target = std::ranges::copy(part, target).out;
  return true;
}

}  // namespace tavrin
