#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Tavrin/Foundation/Mutex.hpp"
#include "Tavrin/Item/CachingPlayerItem.hpp"
#include "Tavrin/Media/UpcomingAssets.hpp"
#include "Tavrin/Models/Media.hpp"

namespace tavrin {

/// What a host may choose about its cache. The defaults keep whatever a server serves.
struct VideoCacheSettings {
  /// Decides which answers are downloaded, kept and played. Absent: all of them.
  ResponseTest accepts;
};

/// A download of a cache manager that is running.
struct VideoDownload {
  URL video;
  DownloadProgress progress;
};

/// Keeps videos on disk and hands the player the best item for each.
///
/// The cache directory, "VideoCache" in the user's caches directory, is shared by all managers and
/// outlives them; nothing deletes from it. It holds one file per video, named by the last path
/// component of the video's address, with the bytes as they were served. A video whose address
/// yields no usable file name is never on disk.
///
/// Every operation may be called from any thread and does its file work there. None fails: a file
/// that cannot be read or written counts as absent.
class VideoCacheManager final : public CachingPlayerItemDelegate,
                                public UpcomingAssets,
                                public std::enable_shared_from_this<VideoCacheManager> {
 public:
  using Items = std::vector<std::shared_ptr<CachingPlayerItem>>;

  /// Creates the cache directory when it is missing.
  static std::shared_ptr<VideoCacheManager> make(VideoCacheSettings settings = {});
  /// Lets go of the prepared items, then of the downloading ones. Nothing is upcoming any more.
  ~VideoCacheManager() override;

  /// Starts the download of a video that is not on disk. The MIME type is not used.
  void saveVideosToCache(const std::optional<URL>& video, std::string_view mimeType);
  /// The item for a video: the prepared one, else a new one from disk, else that of its running
  /// download, else one that streams. Never null. A prepared item that has failed is passed over
  /// for one that streams.
  std::shared_ptr<AVPlayerItem> returnVideoFromArr(const URL& video, const std::string& mimeType);
  /// Prepares both videos, as far as they are on disk; the current one even if it is prepared.
  void prepareFirstTwoVideos(const std::optional<Media>& currentVideo,
                             const std::optional<Media>& nextVideo);
  /// Drops the video behind and prepares the one ahead.
  void onSkipForwardPrepare(const std::optional<Media>& prevVideo,
                            const std::optional<Media>& nextVideo);
  /// Drops the video ahead and prepares the one behind, in front of the others.
  void onSkipBackPrepare(const std::optional<Media>& prevVideo,
                         const std::optional<Media>& nextVideo);

  /// Keeps the body on disk and prints a line.
  void playerItemDidFinishDownloadingData(CachingPlayerItem& item, const Data& data) override;
  /// Prints a line with the reason.
  void playerItemDownloadingFailedWith(CachingPlayerItem& item, const Error& error) override;

  /// The prepared videos, the one that was asked for last first: it lies in the direction of the
  /// steps. Every item that is handed out names the manager for this.
  std::vector<std::shared_ptr<AVURLAsset>> upcomingAssets() const override;

  /// The prepared items, built from files.
  Items cachedItems() const;
  /// The items whose download has neither been kept nor failed.
  Items streamableItems() const;
  /// Those items' progress, in the order in which they were started.
  std::vector<VideoDownload> downloads() const;

 private:
  /// An item and the last path component that matches it to a video.
  struct NamedItem {
    std::string name;
    std::shared_ptr<CachingPlayerItem> item;
  };
  using NamedItems = std::vector<NamedItem>;
  enum class Place { front, back };
  enum class Duplicates { allowed, skipped };

  explicit VideoCacheManager(VideoCacheSettings settings);

  std::optional<std::string> cacheFile(const std::string& name) const;
  bool prepare(const std::optional<Media>& video, Place place, Duplicates duplicates);
  void drop(const std::optional<Media>& video);
  std::shared_ptr<AVPlayerItem> findItem(const URL& video, const std::string& mimeType);
  void expectNext(const std::optional<Media>& video);
  void hastenDownloads();
  CachingPlayerItem::Turn turnOf(const std::string& name) const TAVRIN_REQUIRES(mutex_);
  void removeStreamable(const CachingPlayerItem& item);
  static std::shared_ptr<CachingPlayerItem> firstMatch(const NamedItems& items,
                                                       const std::string& name);
  static Items itemsOf(const NamedItems& items);

  const VideoCacheSettings settings_;
  const std::string cacheDirectory_;
  // Never held during file or network work, nor while an item is released.
  mutable Mutex mutex_;
  NamedItems cachedItems_ TAVRIN_GUARDED_BY(mutex_);
  NamedItems streamableItems_ TAVRIN_GUARDED_BY(mutex_);
  std::string currentName_ TAVRIN_GUARDED_BY(mutex_);  // of the video that was handed out last
  // Of videos that may be next, the one in the direction of the last step first.
  std::vector<std::string> expectedNames_ TAVRIN_GUARDED_BY(mutex_);
};

}  // namespace tavrin
