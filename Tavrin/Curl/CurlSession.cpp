#include "Tavrin/Curl/CurlSession.hpp"

#include <utility>

#include "Tavrin/Curl/CurlDataTask.hpp"
#include "Tavrin/Curl/DeliveryThreads.hpp"

namespace tavrin {

std::shared_ptr<URLSession> URLSession::make(const URLSessionConfiguration& configuration,
                                             std::shared_ptr<URLSessionDataDelegate> delegate) {
  return curl::CurlSession::make(configuration, std::move(delegate));
}

namespace curl {

std::shared_ptr<CurlSession> CurlSession::make(const URLSessionConfiguration& configuration,
                                               std::shared_ptr<URLSessionDataDelegate> delegate,
                                               const TransferLimits& limits) {
  return std::shared_ptr<CurlSession>(new CurlSession(configuration, std::move(delegate), limits));
}

CurlSession::CurlSession(const URLSessionConfiguration& configuration,
                         std::shared_ptr<URLSessionDataDelegate> delegate,
                         const TransferLimits& limits)
    : configuration_(configuration),
      limits_(limits),
      queue_(SerialQueue::make(DeliveryThreads::shared())),
      delegate_(std::move(delegate)) {}

std::shared_ptr<URLSessionDataTask> CurlSession::dataTask(const URLRequest& request) {
  const auto transfer = Transfer::make(request, configuration_, limits_);
  const auto task = CurlDataTask::make(shared_from_this(), transfer, limits_);
  bool isInvalidated = false;
  {
    const LockGuard lock(mutex_);
    isInvalidated = delegate_ == nullptr;
    std::erase_if(tasks_, [](const auto& other) { return other.expired(); });
    tasks_.push_back(task);
  }
  if (isInvalidated) task->cancel();
  return task;
}

void CurlSession::invalidateAndCancel() {
  std::shared_ptr<URLSessionDataDelegate> delegate;
  std::vector<std::weak_ptr<CurlDataTask>> tasks;
  {
    const LockGuard lock(mutex_);
    delegate.swap(delegate_);
    tasks.swap(tasks_);
  }
  for (const auto& weak : tasks) {
    if (const auto task = weak.lock()) task->cancel();
  }
}

std::shared_ptr<URLSessionDataDelegate> CurlSession::delegate() {
  const LockGuard lock(mutex_);
  return delegate_;
}

}  // namespace curl

}  // namespace tavrin
