#include "Tavrin/Media/AVPlayerItem.hpp"

#include <utility>

namespace tavrin {

std::shared_ptr<AVPlayerItem> AVPlayerItem::make(const URL& url, ResponseTest accepts) {
  return std::shared_ptr<AVPlayerItem>(new AVPlayerItem(AVURLAsset::make(url, std::move(accepts))));
}

AVPlayerItemStatus AVPlayerItem::status() const {
  const LockGuard lock(mutex_);
  return status_;
}

std::optional<Error> AVPlayerItem::error() const {
  const LockGuard lock(mutex_);
  return error_;
}

std::shared_ptr<UpcomingAssets> AVPlayerItem::upcoming() const {
  const LockGuard lock(mutex_);
  return upcoming_.lock();
}

void AVPlayerItem::setUpcoming(std::weak_ptr<UpcomingAssets> upcoming) {
  const LockGuard lock(mutex_);
  upcoming_.swap(upcoming);
}

void AVPlayerItem::setStatus(AVPlayerItemStatus status, std::optional<Error> error) {
  {
    const LockGuard lock(mutex_);
    if (status_ == status || status_ == AVPlayerItemStatus::failed) return;
    status_ = status;
    error_ = std::move(error);
  }
  observers_.tell("status");
}

}  // namespace tavrin
