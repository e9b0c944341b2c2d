#include "Tavrin/FFmpeg/AnimationDecoder.hpp"

#include <utility>

namespace tavrin {

AnimationDecoder::AnimationDecoder(std::unique_ptr<AnimationFile> file, const ImageLimits& limits)
    : file_(std::move(file)),
      side_(limits.side),
      codec_(file_->decoder(), limits.animatedPixels),
      canvas_(file_->canvas) {
  delays_.reserve(file_->frames.size());
  for (const auto& frame : file_->frames) delays_.push_back(frameDelay(frame.delay));
}

std::shared_ptr<const Bitmap> AnimationDecoder::next() {
  if (position_ == delays_.size()) return nullptr;
  const bool isDrawn = draw(file_->frames[position_]);
  position_ = isDrawn ? position_ + 1 : delays_.size();
  if (!isDrawn) return nullptr;
  return shrinker_.within(side_, std::make_shared<const Bitmap>(canvas_.bitmap()));
}

bool AnimationDecoder::draw(const AnimationFrame& frame) {
  const AVFrame* const decoded = codec_.decode(file_->picture(frame));
  if (decoded == nullptr || PixelSize{decoded->width, decoded->height} != frame.size) return false;
  const auto picture = converter_.convert(*decoded, frame.size);
  if (picture) canvas_.draw(frame, *picture);
  return picture != nullptr;
}

void AnimationDecoder::rewind() {
  position_ = 0;
  canvas_.clear();
}

}  // namespace tavrin
