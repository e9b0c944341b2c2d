#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Foundation/Data.hpp"
#include "Platform/Foundation/Error.hpp"
#include "Platform/Foundation/KeyValueObservation.hpp"
#include "Platform/Foundation/Mutex.hpp"
#include "Platform/Foundation/URL.hpp"
#include "Platform/Media/AVPlayerItem.hpp"

namespace tavrin {

class CachingPlayerItem;

/// Hears what becomes of a caching item. Every operation may be left out.
class CachingPlayerItemDelegate {
 public:
  virtual ~CachingPlayerItemDelegate() = default;
  /// The download is complete: `data` is the whole body. On the download's own serial queue.
  virtual void playerItemDidFinishDownloadingData(CachingPlayerItem&, const Data& /*data*/) {}
  /// The item's status has changed, to whatever value. On the thread that changed it.
  virtual void playerItemReadyToPlay(CachingPlayerItem&) {}
  /// Playback has run out of bytes. On the thread that noticed.
  virtual void playerItemPlaybackStalled(CachingPlayerItem&) {}
  /// The download has ended early, and is not tried again. On the download's own serial queue.
  virtual void playerItemDownloadingFailedWith(CachingPlayerItem&, const Error& /*error*/) {}
};

/// A player item that plays a remote video while it downloads it, once, into memory, and hands the
/// whole body to its delegate; or one that plays bytes that are in memory already.
///
/// An engine sees an address of a private scheme, which it can read only through the item's own
/// resource loader, on the main queue. Releasing the item ends a download that is running, tells
/// nobody, and makes every reader of it fail. Any thread.
class CachingPlayerItem final : public AVPlayerItem, public KeyValueObserver {
 public:
  class ResourceLoaderDelegate;

  /// An item for a remote video. Nothing is downloaded before `download()` or the first request of
  /// an engine. Stops the process when the address has no scheme.
  static std::shared_ptr<CachingPlayerItem> make(const URL& url);
  /// An item for a video in memory. Its address ends in `lastPathComponents`, percent-encoded: any
  /// file name comes back from `url().lastPathComponent()` as it was given.
  static std::shared_ptr<CachingPlayerItem> make(Data data, std::string mimeType,
                                                 std::string_view lastPathComponents);
  /// Stops the process: the item installs a loader of its own and takes no ready-made asset.
  [[noreturn]] static std::shared_ptr<CachingPlayerItem> make(
      const std::shared_ptr<AVURLAsset>& asset,
      const std::optional<std::vector<std::string>>& automaticallyLoadedAssetKeys);

  ~CachingPlayerItem() override;

  /// Starts the download unless it has been started before, whatever came of it. Does nothing for
  /// an item whose video is in memory.
  void download();

  /// The remote address as it was given, or the made-up one of a video in memory.
  const URL& url() const { return url_; }
  /// The scheme of the remote address; absent for a video in memory.
  const std::optional<std::string>& initialScheme() const { return initialScheme_; }

  /// Held weakly and read anew for every event; an event without one is dropped.
  std::shared_ptr<CachingPlayerItemDelegate> delegate() const;
  void setDelegate(const std::shared_ptr<CachingPlayerItemDelegate>& delegate);

  /// Tells the delegate of a stall. Called for the item's own stall notifications.
  void playbackStalledHandler();
  /// Tells the delegate of a change of status. Called by the item's own observation.
  void observeValue(std::string_view keyPath) override;

 private:
  CachingPlayerItem(URL url, std::optional<std::string> initialScheme, const URL& assetURL,
                    std::shared_ptr<ResourceLoaderDelegate> loader);
  static std::shared_ptr<CachingPlayerItem> make(URL url, std::optional<std::string> initialScheme,
                                                 const URL& assetURL,
                                                 std::shared_ptr<ResourceLoaderDelegate> loader);

  // Constant after construction.
  const std::shared_ptr<ResourceLoaderDelegate> resourceLoaderDelegate_;
  const std::optional<std::string> initialScheme_;
  const URL url_;

  mutable Mutex mutex_;
  std::weak_ptr<CachingPlayerItemDelegate> delegate_ TAVRIN_GUARDED_BY(mutex_);
};

}  // namespace tavrin
