#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Tavrin/Foundation/Data.hpp"
#include "Tavrin/Foundation/Error.hpp"
#include "Tavrin/Foundation/KeyValueObservation.hpp"
#include "Tavrin/Foundation/Mutex.hpp"
#include "Tavrin/Foundation/ResponseTest.hpp"
#include "Tavrin/Foundation/URL.hpp"
#include "Tavrin/Foundation/URLSession.hpp"
#include "Tavrin/Media/AVPlayerItem.hpp"

namespace tavrin {

class CachingPlayerItem;

/// How much of a video has been downloaded.
struct DownloadProgress {
  std::int64_t received = 0;  // bytes
  /// In bytes. Absent while the server has not named it.
  std::optional<std::int64_t> expected;

  bool operator==(const DownloadProgress&) const = default;
};

/// Hears what becomes of a caching item. Every operation may be left out.
class CachingPlayerItemDelegate {
 public:
  virtual ~CachingPlayerItemDelegate() = default;
  /// The download is complete, and written if it has a directory: `data` is the whole body. On the
  /// download's own serial queue, or on a thread of `Executor::files()` if it has a directory.
  virtual void playerItemDidFinishDownloadingData(CachingPlayerItem&, const Data& /*data*/) {}
  /// The item's status has changed, to whatever value. On the thread that changed it.
  virtual void playerItemReadyToPlay(CachingPlayerItem&) {}
  /// Playback has run out of bytes. On the thread that noticed.
  virtual void playerItemPlaybackStalled(CachingPlayerItem&) {}
  /// The download has ended early, and is not tried again. On the download's own serial queue.
  virtual void playerItemDownloadingFailedWith(CachingPlayerItem&, const Error& /*error*/) {}
};

/// A player item that plays a remote video while it downloads it, once, into memory, and hands the
/// whole body to its delegate; or one that plays bytes that are there already, in memory or in a
/// file.
///
/// An engine sees an address of a private scheme, which it can read only through the item's own
/// resource loader, on the main queue. Releasing the item ends a download that is running, tells
/// nobody, and makes every reader of it fail. Any thread.
class CachingPlayerItem final : public AVPlayerItem, public KeyValueObserver {
 public:
  class ResourceLoaderDelegate;

  /// An item for a remote video. Nothing is downloaded before `download()` or the first request of
  /// an engine. Stops the process when the address has no scheme. A download whose answer does not
  /// pass the test fails with `ErrorCode::notAccepted`; without a test every answer passes.
  ///
  /// With a directory, the bytes are written as they come into a file there that has no name, and
  /// `FileManager::write` keeps them under one without a copy; only what the disk does not take
  /// stays in memory. Without a directory all of them do.
  static std::shared_ptr<CachingPlayerItem> make(const URL& url, ResponseTest accepts = nullptr,
                                                 std::string directory = {});
  /// An item for a video in memory. Its address ends in `lastPathComponents`, percent-encoded: any
  /// file name comes back from `url().lastPathComponent()` as it was given.
  static std::shared_ptr<CachingPlayerItem> make(Data data, std::string mimeType,
                                                 std::string_view lastPathComponents);
  /// Stops the process: the item installs a loader of its own and takes no ready-made asset.
  [[noreturn]] static std::shared_ptr<CachingPlayerItem> make(
      const std::shared_ptr<AVURLAsset>& asset,
      const std::optional<std::vector<std::string>>& automaticallyLoadedAssetKeys);

  ~CachingPlayerItem() override;

  /// The most bytes that the downloads of this process may hold in memory together, 256 MiB unless
  /// set. A download that needs more fails.
  static std::int64_t memoryLimit();
  static void setMemoryLimit(std::int64_t bytes);

  /// Starts the download unless it has been started before, whatever came of it. Does nothing for
  /// an item whose video is in memory.
  void download();

  /// Says when the video is likely to be played, which is later to begin with. The download of the
  /// current one comes before that of the next one, and that before the others; those that a reader
  /// waits for come first of all.
  enum class Turn { later, next, current };
  void setTurn(Turn turn);

  /// How far the download has come; a video in memory has all its bytes. Quick enough to be asked
  /// for each picture.
  DownloadProgress progress() const;

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
