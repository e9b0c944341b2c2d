#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Tavrin/View/AnimatedImageView.hpp"
#include "Tavrin/View/GifView.hpp"
#include "Tavrin/View/State.hpp"

namespace tavrin::app {

/// An item that is not a video, on screen. Main queue only.
class ImageShow {
 public:
  using TimePoint = AnimatedImageView::TimePoint;

  /// Starts loading. `isFailed` is the item's failure flag.
  ImageShow(const URL& url, const Binding<bool>& isFailed, const ViewEnvironment& environment);

  /// The frame due now; absent until there is one.
  std::optional<AnimatedImageView::Frame> frame(TimePoint now) const { return view_->frame(now); }
  bool isFailed() const { return gif_.isFailed(); }
  /// Why the last load failed; empty before one has.
  std::string failure() const { return failure_.get(); }

 private:
  const State<std::string> failure_{""};
  const GifView gif_;
  const std::shared_ptr<AnimatedImageView> view_;
};

}  // namespace tavrin::app
