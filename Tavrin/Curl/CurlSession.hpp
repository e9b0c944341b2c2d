#pragma once

#include <memory>
#include <vector>

#include "Tavrin/Curl/TransferLimits.hpp"
#include "Tavrin/Foundation/Executor.hpp"
#include "Tavrin/Foundation/Mutex.hpp"
#include "Tavrin/Foundation/URLSession.hpp"

namespace tavrin::curl {

class CurlDataTask;

/// A URL session over libcurl. Its delegate hears from its own serial queue.
///
/// A running transfer keeps its task, and the task its session.
class CurlSession final : public URLSession, public std::enable_shared_from_this<CurlSession> {
 public:
  static std::shared_ptr<CurlSession> make(const URLSessionConfiguration& configuration,
                                           std::shared_ptr<URLSessionDataDelegate> delegate,
                                           const TransferLimits& limits = {});

  std::shared_ptr<URLSessionDataTask> dataTask(const URLRequest& request) override;
  void invalidateAndCancel() override;

  /// Absent once the session is invalidated. Any thread.
  std::shared_ptr<URLSessionDataDelegate> delegate();
  Executor& queue() { return *queue_; }

 private:
  CurlSession(const URLSessionConfiguration& configuration,
              std::shared_ptr<URLSessionDataDelegate> delegate, const TransferLimits& limits);

  // Never change.
  const URLSessionConfiguration configuration_;
  const TransferLimits limits_;
  const std::shared_ptr<SerialQueue> queue_;

  Mutex mutex_;
  std::shared_ptr<URLSessionDataDelegate> delegate_ TAVRIN_GUARDED_BY(mutex_);
  std::vector<std::weak_ptr<CurlDataTask>> tasks_ TAVRIN_GUARDED_BY(mutex_);
};

}  // namespace tavrin::curl
