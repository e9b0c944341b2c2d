#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "Tavrin/Foundation/URL.hpp"
#include "Tavrin/View/AnimatedImage.hpp"
#include "Tavrin/View/Binding.hpp"
#include "Tavrin/View/State.hpp"

namespace tavrin {

/// Shows an animated image in a frame of optional fixed width and height.
///
/// A value: its copies share the view state and the owner's flag. It draws nothing of its own, and
/// what to show in the place of an image that failed is the owner's decision.
class GifView {
 public:
  /// Width and height are in points; absent leaves that dimension free. `isFailed` is the owner's
  /// flag: true after a failed load, until a later success or progress report. It is read on any
  /// thread and written on the main queue.
  GifView(URL url, std::optional<double> width, std::optional<double> height,
          Binding<bool> isFailed);

  /// This view, which also tells why each load failed: on the main queue, before `isFailed` is
  /// written.
  GifView onFailure(std::function<void(const Error&)> perform) const;

  const URL& url() const { return url_; }
  std::optional<double> width() const { return width_; }
  std::optional<double> height() const { return height_; }
  bool isFailed() const { return isFailed_.get(); }
  void setIsFailed(bool value) const { isFailed_.set(value); }
  const Binding<bool>& isFailedBinding() const { return isFailed_; }

  /// The image, stretched to the frame, with this view's handlers.
  Framed<AnimatedImage> body() const;

 private:
  void succeeded() const;
  void failed(const Error& error) const;
  void progressed(std::int64_t received, std::int64_t expected) const;
  void postLoaded(bool value) const;
  void postIsFailed(bool value) const;

  // True when no download is known to be under way.
  State<bool> loaded_{true};
  URL url_;
  std::optional<double> width_;
  std::optional<double> height_;
  Binding<bool> isFailed_;
  std::function<void(const Error&)> tell_;  // may be empty
};

}  // namespace tavrin
