#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/Foundation/Error.hpp"
#include "Tavrin/Foundation/KeyValueObservation.hpp"
#include "Tavrin/Foundation/Mutex.hpp"
#include "Tavrin/Media/AVAssetResourceLoadingRequest.hpp"

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

/// Where the bytes of a resource end: no others will come.
struct AVAssetResourceEnd {
  /// How many bytes there are, from the start of the resource.
  std::int64_t length = 0;
  /// Why they are not all of them; absent when the resource is whole.
  std::optional<Error> error;
};

/// Where an asset's loading requests go. Any thread.
///
/// Requests tell an engine what has come, never that nothing more will. That is what `end` is for:
/// a resource whose length nobody declared has its end there, and a broken one the reason.
class AVAssetResourceLoader {
 public:
  /// Installs the delegate, held weakly, and the queue on which it is called. The queue must live
  /// as long as the loader.
  void setDelegate(const std::shared_ptr<AVAssetResourceLoaderDelegate>& delegate,
                   DispatchQueue& queue);
  std::shared_ptr<AVAssetResourceLoaderDelegate> delegate() const;
  /// Absent until a delegate has been installed.
  DispatchQueue* queue() const;

  /// Says where the resource ends; what was said before no longer holds. For the delegate, once the
  /// requests that the last bytes can answer have been given them. Tells the observers on the
  /// calling thread.
  void setEnd(AVAssetResourceEnd end);
  /// Absent while more bytes may come.
  std::optional<AVAssetResourceEnd> end() const;
  /// Observable property: "end".
  KeyValueObservers& observers() { return observers_; }

 private:
  mutable Mutex mutex_;
  std::weak_ptr<AVAssetResourceLoaderDelegate> delegate_ TAVRIN_GUARDED_BY(mutex_);
  DispatchQueue* queue_ TAVRIN_GUARDED_BY(mutex_) = nullptr;  // not owned
  std::optional<AVAssetResourceEnd> end_ TAVRIN_GUARDED_BY(mutex_);
  KeyValueObservers observers_;
};

}  // namespace tavrin
