#include "Tavrin/View/FrameStore.hpp"

#include <algorithm>
#include <iterator>
#include <new>
#include <utility>

namespace tavrin {
namespace {

constexpr std::int64_t lookaheadBytes = 16LL << 20;
constexpr std::int64_t fewestAhead = 2;
constexpr std::int64_t mostAhead = 8;
// A job lets others have the executor's thread after this many frames.
constexpr int framesPerJob = 8;
// When to look again for a frame that is late.
constexpr std::chrono::milliseconds retry{4};

std::size_t framesAhead(std::size_t frames, std::int64_t bytesPerFrame) {
  const auto ahead = std::clamp(lookaheadBytes / bytesPerFrame, fewestAhead, mostAhead);
  return std::min(frames, static_cast<std::size_t>(ahead));
}

std::int64_t byteCount(const Bitmap& bitmap) {
  return Bitmap::byteCount(bitmap.width, bitmap.height);
}

}  // namespace

std::shared_ptr<FrameStore> FrameStore::make(std::unique_ptr<ImageDecoder> decoder,
                                             Executor& executor, std::int64_t budget) {
  auto first = decoder->next();
  if (!first) return nullptr;
  return std::shared_ptr<FrameStore>(
      new FrameStore(std::move(decoder), std::move(first), executor, budget));
}

FrameStore::FrameStore(std::unique_ptr<ImageDecoder> decoder, std::shared_ptr<const Bitmap> first,
                       Executor& executor, std::int64_t budget)
    : executor_(executor),
      holdsAll_(byteCount(*first) * std::ssize(decoder->delays()) <= budget),
      decoder_(std::move(decoder)),
      timeline_(decoder_->delays(), decoder_->plays()),
      frames_(timeline_.count()),
      shown_(first),
      window_(holdsAll_ ? frames_.size() : framesAhead(frames_.size(), byteCount(*first))) {
  frames_.front() = std::move(first);
}

FrameStore::Shown FrameStore::at(std::chrono::nanoseconds elapsed) {
  Shown result;
  bool hasWork = false;
  {
    const LockGuard lock(mutex_);
    const auto position = timeline_.at(elapsed);
    moveTo(position.index);
    const auto& due = frames_[position.index];
    if (due) shown_ = due;
    result = {shown_, due || isBroken_ ? position.remaining : retry};
    hasWork = !isBusy_ && nextWanted();
    if (hasWork) isBusy_ = true;
  }
  if (hasWork) schedule();
  return result;
}

std::int64_t FrameStore::bytesHeld() const {
  const LockGuard lock(mutex_);
  std::int64_t total = 0;
  for (const auto& frame : frames_) total += frame ? byteCount(*frame) : 0;
  return total;
}

void FrameStore::moveTo(std::size_t index) {
  const auto old = std::exchange(current_, index);
  if (window_ == frames_.size()) return;
  for (std::size_t ahead = 0; ahead < window_; ++ahead) {
    const auto candidate = (old + ahead) % frames_.size();
    if (!isInWindow(candidate)) frames_[candidate].reset();
  }
}

bool FrameStore::isInWindow(std::size_t index) const {
  if (index >= frames_.size()) return false;
  return (index + frames_.size() - current_) % frames_.size() < window_;
}

std::optional<std::size_t> FrameStore::nextWanted() const {
  if (isBroken_) return std::nullopt;
  if (holdsAll_) return kept_ < frames_.size() ? std::optional(kept_) : std::nullopt;
  for (std::size_t ahead = 0; ahead < window_; ++ahead) {
    const auto candidate = (current_ + ahead) % frames_.size();
    if (!frames_[candidate]) return candidate;
  }
  return std::nullopt;
}

void FrameStore::schedule() {
  executor_.post([weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->decodeSome();
  });
}

void FrameStore::decodeSome() {
  for (int i = 0; i < framesPerJob; ++i) {
    const auto index = claimNext();
    if (!index) return;
    decodeToward(*index);
  }
  schedule();
}

std::optional<std::size_t> FrameStore::claimNext() {
  const LockGuard lock(mutex_);
  const auto index = nextWanted();
  if (!index) isBusy_ = false;
  return index;
}

// One frame at a time, for what is wanted changes while the decoder is on its way.
void FrameStore::decodeToward(std::size_t index) {
  if (decoderPosition_ > index) {
    decoder_->rewind();
    decoderPosition_ = 0;
  }
  if (auto bitmap = nextFrame()) {
    keep(decoderPosition_++, std::move(bitmap));
  } else {
    endBefore(decoderPosition_);
  }
}

// A frame that there is no memory for is one that cannot be decoded.
std::shared_ptr<const Bitmap> FrameStore::nextFrame() {
  try {
    return decoder_->next();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void FrameStore::keep(std::size_t index, std::shared_ptr<const Bitmap> bitmap) {
  const LockGuard lock(mutex_);
  if (!isInWindow(index)) return;
  frames_[index] = std::move(bitmap);
  if (holdsAll_) kept_ = index + 1;
}

void FrameStore::endBefore(std::size_t index) {
  const LockGuard lock(mutex_);
  isBroken_ = index == 0;
  timeline_.truncate(index);
  frames_.resize(timeline_.count());
  window_ = std::min(window_, frames_.size());
  current_ = std::min(current_, frames_.size() - 1);
}

}  // namespace tavrin
