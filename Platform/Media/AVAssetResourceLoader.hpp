#pragma once

#include <memory>

#include "Platform/Foundation/DispatchQueue.hpp"
#include "Platform/Foundation/Mutex.hpp"
#include "Platform/Media/AVAssetResourceLoadingRequest.hpp"

namespace tavrin {

class AVAssetResourceLoader;

/// Answers the loading requests for an asset. Its calls come on the queue it was installed with.
class AVAssetResourceLoaderDelegate {
 public:
  virtual ~AVAssetResourceLoaderDelegate() = default;
  /// A new request. Returns whether the delegate takes it; one that is not taken fails.
  virtual bool resourceLoader(AVAssetResourceLoader& loader,
                              const std::shared_ptr<AVAssetResourceLoadingRequest>&
                                  shouldWaitForLoadingOfRequestedResource) = 0;
  /// The engine no longer waits for the request.
  virtual void resourceLoaderDidCancel(
      AVAssetResourceLoader& loader,
      const std::shared_ptr<AVAssetResourceLoadingRequest>& request) = 0;
};

/// Where an asset's loading requests go. Any thread.
class AVAssetResourceLoader {
 public:
  /// Installs the delegate, held weakly, and the queue on which it is called. The queue must live
  /// as long as the loader.
  void setDelegate(const std::shared_ptr<AVAssetResourceLoaderDelegate>& delegate,
                   DispatchQueue& queue);
  std::shared_ptr<AVAssetResourceLoaderDelegate> delegate() const;
  /// Absent until a delegate has been installed.
  DispatchQueue* queue() const;

 private:
  mutable Mutex mutex_;
  std::weak_ptr<AVAssetResourceLoaderDelegate> delegate_ TAVRIN_GUARDED_BY(mutex_);
  DispatchQueue* queue_ TAVRIN_GUARDED_BY(mutex_) = nullptr;  // not owned
};

}  // namespace tavrin
