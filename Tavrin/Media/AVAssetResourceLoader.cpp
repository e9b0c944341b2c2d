#include "Tavrin/Media/AVAssetResourceLoader.hpp"

#include <utility>

namespace tavrin {

void AVAssetResourceLoadingDataRequest::respond(Data bytes) {
  const auto offset = currentOffset_.fetch_add(bytes.count(), std::memory_order_acq_rel);
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

void AVAssetResourceLoader::setEnd(AVAssetResourceEnd end) {
  {
    const LockGuard lock(mutex_);
    end_ = std::move(end);
  }
  observers_.tell("end");
}

std::optional<AVAssetResourceEnd> AVAssetResourceLoader::end() const {
  const LockGuard lock(mutex_);
  return end_;
}

}  // namespace tavrin
