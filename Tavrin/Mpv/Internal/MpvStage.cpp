#include "Tavrin/Mpv/Internal/MpvStage.hpp"

#include <utility>

namespace tavrin {

void MpvStage::setNewest(LoadId load) {
  const LockGuard lock(mutex_);
  if (load < newest_) return;
  newest_ = load;
  lane_ = nullptr;
}

void MpvStage::setPictureHandler(std::function<void()> handler) {
  const LockGuard lock(handlerMutex_);
  handler_ = std::move(handler);
}

std::optional<MpvStage::LoadId> MpvStage::draw(const PixelBuffer& target) {
  const LockGuard lock(mutex_);
  if (!target.canBeDrawn()) return std::nullopt;
  hostSize_ = {target.width, target.height};
  if (!lane_) return std::nullopt;
  if (!(drawn_ && drawn_->copyTo(target)) && !lane_->draw(target)) return std::nullopt;
  return newest_;
}

MpvStage::Size MpvStage::hostSize() const {
  const LockGuard lock(mutex_);
  return hostSize_;
}

void MpvStage::show(MpvLane* lane) {
  const LockGuard lock(mutex_);
  lane_ = lane && lane->load().id == newest_ ? lane : nullptr;
}

void MpvStage::showPicture(MpvLane* lane, std::shared_ptr<DrawnPicture> drawn) {
  show(lane);
  {
    const LockGuard lock(mutex_);
    std::swap(drawn_, drawn);
  }
  std::function<void()> handler;
  {
    const LockGuard lock(handlerMutex_);
    handler = handler_;
  }
  if (handler) handler();
}

}  // namespace tavrin
