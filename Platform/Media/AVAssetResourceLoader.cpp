#include "Platform/Media/AVAssetResourceLoader.hpp"

#include <utility>

namespace tavrin {

std::int64_t AVAssetResourceLoadingDataRequest::currentOffset() const {
  const LockGuard lock(mutex_);
  return currentOffset_;
}

void AVAssetResourceLoadingDataRequest::respond(Data bytes) {
  std::int64_t offset = 0;
  {
    const LockGuard lock(mutex_);
    offset = std::exchange(currentOffset_, currentOffset_ + bytes.count());
  }
  receiver_(offset, std::move(bytes));
}

AVAssetResourceLoadingRequest::AVAssetResourceLoadingRequest(
    bool wantsInformation, std::shared_ptr<AVAssetResourceLoadingDataRequest> data,
    std::function<void(AVAssetResourceLoadingRequest&)> finished)
    : data_(std::move(data)), finished_(std::move(finished)) {
  if (wantsInformation) information_.emplace();
}

void AVAssetResourceLoadingRequest::finishLoading() {
  {
    const LockGuard lock(mutex_);
    if (std::exchange(isFinished_, true)) return;
  }
  finished_(*this);
}

void AVAssetResourceLoader::setDelegate(
    const std::shared_ptr<AVAssetResourceLoaderDelegate>& delegate, DispatchQueue& queue) {
  const LockGuard lock(mutex_);
  delegate_ = delegate;
  queue_ = &queue;
}

std::shared_ptr<AVAssetResourceLoaderDelegate> AVAssetResourceLoader::delegate() const {
  const LockGuard lock(mutex_);
  return delegate_.lock();
}

DispatchQueue* AVAssetResourceLoader::queue() const {
  const LockGuard lock(mutex_);
  return queue_;
}

}  // namespace tavrin
