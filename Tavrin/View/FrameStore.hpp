#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "Tavrin/Foundation/Executor.hpp"
#include "Tavrin/Foundation/Mutex.hpp"
#include "Tavrin/View/AnimationTimeline.hpp"
#include "Tavrin/View/ImageDecoder.hpp"

namespace tavrin {

/// The decoded frames of one image that is being played.
///
/// All frames stay in memory when together they are within a budget; otherwise only the frame shown
/// and the few after it do, and the image is decoded again each time round. Frames are decoded on
/// the executor, one job at a time; where one cannot be decoded, the animation ends before it.
class FrameStore : public std::enable_shared_from_this<FrameStore> {
 public:
  struct Shown {
    std::shared_ptr<const Bitmap> bitmap;  // never null
    /// Until another frame can be expected; absent for a still, and once the last frame stays.
    std::optional<std::chrono::nanoseconds> remaining;
  };

  /// Decodes the first frame on the calling thread; null when that fails. `executor` must outlive
  /// the store. `budget` is in bytes.
  static std::shared_ptr<FrameStore> make(std::unique_ptr<ImageDecoder> decoder, Executor& executor,
                                          std::int64_t budget);

  /// The frame due at this time since the start of the animation, or the one shown last while that
  /// one is still being decoded. Never decodes on the calling thread. Any one thread at a time.
  Shown at(std::chrono::nanoseconds elapsed);

  /// What the frames held now take up, in bytes. Any thread.
  std::int64_t bytesHeld() const;

 private:
  FrameStore(std::unique_ptr<ImageDecoder> decoder, std::shared_ptr<const Bitmap> first,
             Executor& executor, std::int64_t budget);

  void moveTo(std::size_t index) TAVRIN_REQUIRES(mutex_);
  bool isInWindow(std::size_t index) const TAVRIN_REQUIRES(mutex_);
  std::optional<std::size_t> nextWanted() const TAVRIN_REQUIRES(mutex_);
  std::optional<std::size_t> claimNext() TAVRIN_EXCLUDES(mutex_);
  void keep(std::size_t index, std::shared_ptr<const Bitmap> bitmap) TAVRIN_EXCLUDES(mutex_);
  void endBefore(std::size_t index) TAVRIN_EXCLUDES(mutex_);
  void schedule();
  void decodeSome();
  void decodeToward(std::size_t index);
  std::shared_ptr<const Bitmap> nextFrame();

  Executor& executor_;
  const bool holdsAll_;
  // Touched by the constructor, then by the one job that isBusy_ stands for.
  const std::unique_ptr<ImageDecoder> decoder_;
  std::size_t decoderPosition_ = 1;

  mutable Mutex mutex_;
  AnimationTimeline timeline_ TAVRIN_GUARDED_BY(mutex_);
  std::vector<std::shared_ptr<const Bitmap>> frames_ TAVRIN_GUARDED_BY(mutex_);
  std::shared_ptr<const Bitmap> shown_ TAVRIN_GUARDED_BY(mutex_);
  std::size_t window_ TAVRIN_GUARDED_BY(mutex_) = 0;  // frames to hold, from current_ on
  std::size_t kept_ TAVRIN_GUARDED_BY(mutex_) = 1;    // of all frames, in order; if holdsAll_
  std::size_t current_ TAVRIN_GUARDED_BY(mutex_) = 0;
  bool isBusy_ TAVRIN_GUARDED_BY(mutex_) = false;
  bool isBroken_ TAVRIN_GUARDED_BY(mutex_) = false;  // even the first frame fails now
};

}  // namespace tavrin
