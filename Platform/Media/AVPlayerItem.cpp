#include "Platform/Media/AVPlayerItem.hpp"

#include <utility>

namespace tavrin {

std::shared_ptr<AVPlayerItem> AVPlayerItem::make(const URL& url) {
  return std::shared_ptr<AVPlayerItem>(new AVPlayerItem(AVURLAsset::make(url)));
}

AVPlayerItem::Status AVPlayerItem::status() const {
  const LockGuard lock(mutex_);
  return status_;
}

std::optional<Error> AVPlayerItem::error() const {
  const LockGuard lock(mutex_);
  return error_;
}

void AVPlayerItem::setStatus(Status status, std::optional<Error> error) {
  {
    const LockGuard lock(mutex_);
    if (status_ == status || status_ == Status::failed) return;
    status_ = status;
    error_ = std::move(error);
  }
  observers_.tell("status");
}

}  // namespace tavrin
