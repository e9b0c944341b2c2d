#pragma once

#include "Tavrin/FFmpeg/AnimationCanvas.hpp"
#include "Tavrin/FFmpeg/AnimationFile.hpp"
#include "Tavrin/FFmpeg/PictureCodec.hpp"
#include "Tavrin/FFmpeg/RGBAConverter.hpp"
#include "Tavrin/View/ImageDecoder.hpp"

namespace tavrin {

/// Plays an `AnimationFile` on a canvas.
class AnimationDecoder final : public ImageDecoder {
 public:
  /// `file` has a frame, and a canvas within the limits.
  AnimationDecoder(std::unique_ptr<AnimationFile> file, const ImageLimits& limits);

  const std::vector<std::chrono::milliseconds>& delays() const override { return delays_; }
  std::optional<std::int64_t> plays() const override { return file_->plays; }
  std::shared_ptr<const Bitmap> next() override;
  void rewind() override;

 private:
  bool draw(const AnimationFrame& frame);

  const std::unique_ptr<AnimationFile> file_;
  const int side_;
  std::vector<std::chrono::milliseconds> delays_;
  PictureCodec codec_;
  RGBAConverter converter_;
  RGBAConverter shrinker_;
  AnimationCanvas canvas_;
  std::size_t position_ = 0;  // of the next frame
};

}  // namespace tavrin
