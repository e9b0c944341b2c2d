#include "Tavrin/GifView.hpp"

#include <utility>

#include "Platform/Foundation/DispatchQueue.hpp"

namespace tavrin {

GifView::GifView(URL address, std::optional<double> frameWidth, std::optional<double> frameHeight,
                 Binding<bool> isFailed)
    : url(std::move(address)),
      width(frameWidth),
      height(frameHeight),
      isFailed_(std::move(isFailed)) {}

// Each handler holds a copy of the view, whose state and flag are those of the view on screen.
Framed<AnimatedImage> GifView::body() const {
  return AnimatedImage(url, SDWebImageOptions{0}, std::nullopt)
      .resizable(EdgeInsets{}, ResizingMode::stretch)
      .onSuccess([view = *this](const auto&, const auto&, SDImageCacheType) { view.succeeded(); })
      .onFailure([view = *this](const Error&) { view.failed(); })
      .onProgress([view = *this](std::int64_t received, std::int64_t expected) {
        view.progressed(received, expected);
      })
      .frame(width, height, Alignment::center());
}

void GifView::succeeded() const {
  if (!loaded_.get()) postLoaded(true);
  if (isFailed()) postIsFailed(false);
}

void GifView::failed() const {
  if (!loaded_.get()) postLoaded(true);
  if (!isFailed()) postIsFailed(true);
}

void GifView::progressed(std::int64_t received, std::int64_t expected) const {
  if (received < expected && loaded_.get()) postLoaded(false);
  if (isFailed()) postIsFailed(false);
}

void GifView::postLoaded(bool value) const {
  DispatchQueue::main().async([view = *this, value] { view.loaded_.set(value); });
}

void GifView::postIsFailed(bool value) const {
  DispatchQueue::main().async([view = *this, value] { view.setIsFailed(value); });
}

}  // namespace tavrin
