#include "Tavrin/Mpv/Internal/DrawnPicture.hpp"

#include <cstring>
#include <new>
#include <utility>

#include "Tavrin/Foundation/Executor.hpp"

namespace tavrin {

std::shared_ptr<DrawnPicture> DrawnPicture::draw(std::shared_ptr<MpvRenderer> renderer, int width,
                                                 int height) {
  if (width <= 0 || height <= 0 || std::int64_t{width} * height > limit) return nullptr;
  auto picture = std::make_shared<DrawnPicture>(width, height);
  Executor::shared().post(
      [picture, renderer = std::move(renderer)] { picture->drawFrom(*renderer); });
  return picture;
}

void DrawnPicture::forgo() {
  auto expected = State::waiting;
  state_.compare_exchange_strong(expected, State::forgone);
}

void DrawnPicture::drawFrom(MpvRenderer& renderer) {
  auto expected = State::waiting;
  if (!state_.compare_exchange_strong(expected, State::drawing)) return;
  try {
    pixels_.resize(stride() * static_cast<std::size_t>(height_));
    const auto rows = static_cast<std::ptrdiff_t>(stride());
    const bool isDrawn = renderer.drawAside({pixels_.data(), width_, height_, rows});
    state_ = isDrawn ? State::drawn : State::forgone;
  } catch (const std::bad_alloc&) {
    state_ = State::forgone;
  }
}

bool DrawnPicture::copyTo(const PixelBuffer& target) const {
  if (state_ != State::drawn || target.width != width_ || target.height != height_) return false;
  for (int row = 0; row < height_; ++row) {
    std::memcpy(target.pixels + row * target.stride,
                pixels_.data() + static_cast<std::size_t>(row) * stride(), stride());
  }
  return true;
}

}  // namespace tavrin
