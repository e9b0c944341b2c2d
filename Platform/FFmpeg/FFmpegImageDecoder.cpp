#include <algorithm>
#include <iterator>
#include <utility>

#include "Platform/FFmpeg/FFmpegHandles.hpp"
#include "Platform/FFmpeg/ImageFormat.hpp"
#include "Platform/FFmpeg/MemoryInput.hpp"
#include "Platform/FFmpeg/RGBAConverter.hpp"
#include "Platform/View/ImageDecoder.hpp"

namespace tavrin {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds defaultDelay{100};

class FFmpegImageDecoder final : public ImageDecoder {
 public:
  FFmpegImageDecoder(const ImageFormat& format, const ImageLimits& limits)
      : limits_(limits),
        format_(format),
        input_(format.bytes),
        packet_(av_packet_alloc()),
        frame_(av_frame_alloc()) {}

  /// False when the bytes are no image within the limits.
  bool start();

  const std::vector<milliseconds>& delays() const override { return delays_; }
  std::shared_ptr<const Bitmap> next() override;
  void rewind() override;

 private:
  bool isStill() const { return format_.demuxer == nullptr; }
  bool openContainer();
  bool openCodec();
  bool takeParameters();
  bool readPacket();
  void collectDelays();
  bool decodeFrame();

  const ImageLimits limits_;
  const ImageFormat format_;
  MemoryInput input_;
  FFmpegHandle<AVPacket> packet_;
  FFmpegHandle<AVFrame> frame_;
  FFmpegHandle<AVFormatContext> container_;
  FFmpegHandle<AVCodecContext> codec_;
  RGBAConverter converter_;
  std::vector<milliseconds> delays_;
  std::size_t position_ = 0;  // of the next frame
  bool isStillRead_ = false;
};

bool FFmpegImageDecoder::start() {
  if (!input_.context() || !packet_ || !frame_) return false;
  if (isStill()) {
    delays_.push_back(defaultDelay);
  } else if (openContainer()) {
    collectDelays();
  }
  rewind();
  return codec_ && !delays_.empty();
}

bool FFmpegImageDecoder::openContainer() {
  container_.reset();
  input_.rewind();
  AVFormatContext* context = avformat_alloc_context();
  if (context == nullptr) return false;
  context->pb = input_.context();
  const AVInputFormat* demuxer = av_find_input_format(format_.demuxer);
  // On failure it frees the context itself.
  if (avformat_open_input(&context, "", demuxer, nullptr) < 0) return false;
  container_.reset(context);
  return container_->nb_streams == 1;
}

bool FFmpegImageDecoder::openCodec() {
  const AVCodec* codec = avcodec_find_decoder_by_name(format_.decoder);
  codec_.reset(avcodec_alloc_context3(codec));
  if (!codec_ || (container_ && !takeParameters())) return false;
  codec_->max_pixels = limits_.pixels;
  codec_->thread_count = 1;
  return avcodec_open2(codec_.get(), codec, nullptr) >= 0;
}

bool FFmpegImageDecoder::takeParameters() {
  const AVCodecParameters& parameters = *container_->streams[0]->codecpar;
  return std::int64_t{parameters.width} * parameters.height <= limits_.pixels &&
         avcodec_parameters_to_context(codec_.get(), &parameters) >= 0;
}

bool FFmpegImageDecoder::readPacket() {
  av_packet_unref(packet_.get());
  if (container_) return av_read_frame(container_.get(), packet_.get()) >= 0;
  const Data& bytes = format_.bytes;
  if (std::exchange(isStillRead_, true) || !std::in_range<int>(bytes.count())) return false;
  if (av_new_packet(packet_.get(), static_cast<int>(bytes.count())) < 0) return false;
  std::ranges::copy(bytes.view(), reinterpret_cast<std::byte*>(packet_->data));
  return true;
}

// Reads through the container without decoding: this costs a few milliseconds, and tells when each
// frame is due before the first is drawn.
void FFmpegImageDecoder::collectDelays() {
  const auto unit = container_->streams[0]->time_base;
  while (std::ssize(delays_) < limits_.frames && readPacket()) {
    const milliseconds delay(av_rescale_q(packet_->duration, unit, AVRational{1, 1000}));
    delays_.push_back(delay > milliseconds(0) ? delay : defaultDelay);
  }
}

void FFmpegImageDecoder::rewind() {
  position_ = 0;
  isStillRead_ = false;
  if ((!isStill() && !openContainer()) || !openCodec()) codec_.reset();
}

std::shared_ptr<const Bitmap> FFmpegImageDecoder::next() {
  if (!codec_ || position_ == delays_.size()) return nullptr;
  std::shared_ptr<const Bitmap> bitmap;
  if (decodeFrame()) bitmap = converter_.convert(*frame_);
  if (!bitmap) codec_.reset();
  ++position_;
  return bitmap;
}

bool FFmpegImageDecoder::decodeFrame() {
  for (;;) {
    const int received = avcodec_receive_frame(codec_.get(), frame_.get());
    if (received >= 0) return true;
    if (received != AVERROR(EAGAIN)) return false;
    // Without a further packet the codec gives what it still holds.
    const AVPacket* packet = readPacket() ? packet_.get() : nullptr;
    if (avcodec_send_packet(codec_.get(), packet) < 0) return false;
  }
}

// The libraries report every flaw of a file on standard error; here the caller is told instead.
void silenceLogOnce() {
  static const bool silenced = [] {
    av_log_set_level(AV_LOG_QUIET);
    return true;
  }();
  static_cast<void>(silenced);
}

}  // namespace

std::unique_ptr<ImageDecoder> ImageDecoder::open(const Data& bytes, const ImageLimits& limits) {
  silenceLogOnce();
  const auto format = ImageFormat::of(bytes);
  if (format.decoder == nullptr) return nullptr;
  auto decoder = std::make_unique<FFmpegImageDecoder>(format, limits);
  if (!decoder->start()) return nullptr;
  return decoder;
}

}  // namespace tavrin
