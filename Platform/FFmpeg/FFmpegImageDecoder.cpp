#include <algorithm>
#include <string_view>

#include "Platform/FFmpeg/FFmpegHandles.hpp"
#include "Platform/FFmpeg/MemoryInput.hpp"
#include "Platform/FFmpeg/RGBAConverter.hpp"
#include "Platform/View/ImageDecoder.hpp"

extern "C" {
#include <libavutil/opt.h>
}

namespace tavrin {
namespace {

using std::chrono::milliseconds;

// Named, so that bytes from the network reach these parsers and no other: many containers that the
// library would recognise open files and addresses of their own.
constexpr auto formats = "gif,apng,png_pipe,webp_pipe,jpeg_pipe";
constexpr auto codecs = "gif,apng,png,webp,mjpeg";
constexpr milliseconds defaultDelay{100};

class FFmpegImageDecoder final : public ImageDecoder {
 public:
  FFmpegImageDecoder(Data bytes, const ImageLimits& limits)
      : limits_(limits),
        input_(std::move(bytes)),
        packet_(av_packet_alloc()),
        frame_(av_frame_alloc()) {}

  /// False when the bytes are no image within the limits.
  bool start();

  const std::vector<milliseconds>& delays() const override { return delays_; }
  std::shared_ptr<const Bitmap> next() override;
  void rewind() override;

 private:
  bool openContainer();
  bool openCodec();
  bool readPacket();
  void collectDelays();
  bool decodeFrame();
  bool isAnimation() const;

  const ImageLimits limits_;
  MemoryInput input_;
  FFmpegHandle<AVPacket> packet_;
  FFmpegHandle<AVFrame> frame_;
  FFmpegHandle<AVFormatContext> container_;
  FFmpegHandle<AVCodecContext> codec_;
  RGBAConverter converter_;
  std::vector<milliseconds> delays_;
  std::size_t position_ = 0;  // of the next frame
};

bool FFmpegImageDecoder::start() {
  if (!input_.context() || !packet_ || !frame_ || !openContainer()) return false;
  collectDelays();
  if (delays_.empty()) return false;
  rewind();
  return codec_ != nullptr;
}

bool FFmpegImageDecoder::openContainer() {
  codec_.reset();
  container_.reset();
  input_.rewind();
  AVFormatContext* context = avformat_alloc_context();
  if (context == nullptr) return false;
  context->pb = input_.context();
  if (av_opt_set(context, "format_whitelist", formats, 0) < 0 ||
      av_opt_set(context, "codec_whitelist", codecs, 0) < 0) {
    avformat_free_context(context);
    return false;
  }
  // On failure it frees the context itself.
  if (avformat_open_input(&context, "", nullptr, nullptr) < 0) return false;
  container_.reset(context);
  return container_->nb_streams == 1;
}

bool FFmpegImageDecoder::openCodec() {
  const AVCodecParameters& parameters = *container_->streams[0]->codecpar;
  if (std::int64_t{parameters.width} * parameters.height > limits_.pixels) return false;
  const AVCodec* codec = avcodec_find_decoder(parameters.codec_id);
  if (codec == nullptr) return false;
  codec_.reset(avcodec_alloc_context3(codec));
  if (!codec_ || avcodec_parameters_to_context(codec_.get(), &parameters) < 0) return false;
  codec_->max_pixels = limits_.pixels;
  codec_->thread_count = 1;
  return avcodec_open2(codec_.get(), codec, nullptr) >= 0;
}

bool FFmpegImageDecoder::readPacket() {
  av_packet_unref(packet_.get());
  return av_read_frame(container_.get(), packet_.get()) >= 0;
}

bool FFmpegImageDecoder::isAnimation() const {
  const std::string_view name = container_->iformat->name;
  return name == "gif" || name == "apng";
}

// Reads through the container without decoding: this costs a few milliseconds, and tells when each
// frame is due before the first is drawn.
void FFmpegImageDecoder::collectDelays() {
  const auto unit = container_->streams[0]->time_base;
  const auto wanted = static_cast<std::size_t>(isAnimation() ? limits_.frames : 1);
  while (delays_.size() < wanted && readPacket()) {
    const milliseconds delay(av_rescale_q(packet_->duration, unit, AVRational{1, 1000}));
    delays_.push_back(delay > milliseconds(0) ? delay : defaultDelay);
  }
}

void FFmpegImageDecoder::rewind() {
  position_ = 0;
  if (!openContainer() || !openCodec()) codec_.reset();
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
  auto decoder = std::make_unique<FFmpegImageDecoder>(bytes, limits);
  if (!decoder->start()) return nullptr;
  return decoder;
}

}  // namespace tavrin
