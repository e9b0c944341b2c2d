#pragma once

#include <chrono>
#include <memory>
#include <optional>

#include "Tavrin/Foundation/Mutex.hpp"
#include "Tavrin/View/AnimatedImage.hpp"
#include "Tavrin/View/FrameStore.hpp"
#include "Tavrin/View/ViewEnvironment.hpp"

namespace tavrin {

/// An `AnimatedImage` on screen: loads it, decodes it and tells a host what to draw.
///
///     const auto body = view.body();                                  // a Framed<AnimatedImage>
///     const auto shown = AnimatedImageView::make(body.content, environment);
///     shown->load();
///     ... at each redraw:
///     if (const auto frame = shown->frame(std::chrono::steady_clock::now()))
///       draw(*frame->bitmap, body.layout(offered, frame->naturalSize).content);
///
/// The host draws the whole bitmap into the rectangle. Letting go of the view ends its download.
class AnimatedImageView : public std::enable_shared_from_this<AnimatedImageView> {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  struct Frame {
    std::shared_ptr<const Bitmap> bitmap;  // never null
    /// One point for each pixel of the image.
    Size naturalSize;
    /// When to draw again; absent for a still, and once an animation rests on its last frame.
    std::optional<TimePoint> due;
  };

  [[nodiscard]] static std::shared_ptr<AnimatedImageView> make(AnimatedImage image,
                                                               ViewEnvironment environment);
  ~AnimatedImageView();

  /// Takes the image from the cache or downloads it. Does nothing while a load is under way; after
  /// one, loads again, and shows the old image until the new one is there. Any thread.
  void load();

  /// The frame to draw at a time; the animation starts with the first call that finds a frame.
  /// Absent until the image is loaded. Never blocks; one thread, the host's.
  std::optional<Frame> frame(TimePoint now);

 private:
  AnimatedImageView(AnimatedImage image, ViewEnvironment environment)
      : image_(std::move(image)), environment_(std::move(environment)) {}

  void download(const URL& url);
  void finishDownload(const Data& body, const std::optional<Error>& error);
  void tryToDecode(const Data& body, SDImageCacheType servedFrom);
  void decode(const Data& body, SDImageCacheType servedFrom);
  void fail(const Error& error);
  void endLoad();
  void post(std::function<void(AnimatedImageView&)> job);

  // These never change.
  const AnimatedImage image_;
  const ViewEnvironment environment_;

  Mutex mutex_;
  bool isLoading_ TAVRIN_GUARDED_BY(mutex_) = false;
  std::shared_ptr<URLSession> session_ TAVRIN_GUARDED_BY(mutex_);
  std::shared_ptr<FrameStore> frames_ TAVRIN_GUARDED_BY(mutex_);

  // Touched by frame() alone: what is played, and since when.
  std::shared_ptr<FrameStore> playing_;
  TimePoint start_;
};

}  // namespace tavrin
