#include "Tavrin/View/GifView.hpp"

#include <utility>

#include "Tavrin/Foundation/DispatchQueue.hpp"

namespace tavrin {

GifView::GifView(URL url, std::optional<double> width, std::optional<double> height,
                 Binding<bool> isFailed)
    : url_(std::move(url)), width_(width), height_(height), isFailed_(std::move(isFailed)) {}

// Each handler holds a copy of the view, whose state and flag are those of the view on screen.
Framed<AnimatedImage> GifView::body() const {
  return AnimatedImage(url_, SDWebImageOptions{0}, std::nullopt)
      .resizable(EdgeInsets{}, ResizingMode::stretch)
      .onSuccess([view = *this](const auto&, const auto&, SDImageCacheType) { view.succeeded(); })
      .onFailure([view = *this](const Error& error) { view.failed(error); })
      .onProgress([view = *this](std::int64_t received, std::int64_t expected) {
        view.progressed(received, expected);
      })
      .frame(width_, height_, Alignment::center());
}

void GifView::succeeded() const {
  if (!loaded_.get()) postLoaded(true);
  if (isFailed()) postIsFailed(false);
}

GifView GifView::onFailure(std::function<void(const Error&)> perform) const {
  auto view = *this;
  view.tell_ = std::move(perform);
  return view;
}

void GifView::failed(const Error& error) const {
  if (tell_) DispatchQueue::main().async([tell = tell_, error] { tell(error); });
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
