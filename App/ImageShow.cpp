#include "App/ImageShow.hpp"

namespace tavrin::app {

ImageShow::ImageShow(const URL& url, const Binding<bool>& isFailed,
                     const ViewEnvironment& environment)
    : gif_(GifView(url, std::nullopt, std::nullopt, isFailed)
               .onFailure(
                   [failure = failure_](const Error& error) { failure.set(error.description); })),
      view_(AnimatedImageView::make(gif_.body().content, environment)) {
  view_->load();
}

}  // namespace tavrin::app
