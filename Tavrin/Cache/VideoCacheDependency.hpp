#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Tavrin/Architecture/DependencyValues.hpp"
#include "Tavrin/Architecture/Task.hpp"
#include "Tavrin/Cache/VideoCacheManager.hpp"
#include "Tavrin/Media/AVPlayerItem.hpp"
#include "Tavrin/Models/Media.hpp"

namespace tavrin {

/// The video cache as the feature sees it: seven asynchronous operations, none of which fails. Any
/// thread. A cache manager is named by its identifier; with an absent or unknown one an operation
/// does nothing.
struct VideoCacheDependency {
  using ManagerId = std::optional<UUID>;
  using Video = std::optional<Media>;

  /// Makes a cache manager and returns its identifier.
  std::function<Task<UUID>()> create;
  /// Lets go of the manager. Its files stay.
  std::function<Task<void>(ManagerId)> destroy;
  /// Starts the download of a video that is not on disk.
  std::function<Task<void>(ManagerId, std::optional<URL> video, std::string mimeType)>
      saveVideosToCache;
  /// The best item for a video: from memory, from disk, its running download, or a plain stream.
  /// Null without a manager.
  std::function<Task<std::shared_ptr<AVPlayerItem>>(ManagerId, URL video, std::string mimeType)>
      returnVideoFromArr;
  /// Prepares the current and the next video, as far as they are on disk.
  std::function<Task<void>(ManagerId, Video current, Video next)> prepareFirstTwoVideos;
  /// Lets go of the second video behind, and prepares the first one ahead.
  std::function<Task<void>(ManagerId, Video behind, Video ahead)> onSkipForwardPrepare;
  /// Lets go of the second video ahead, and prepares the first one behind.
  std::function<Task<void>(ManagerId, Video behind, Video ahead)> onSkipBackPrepare;
};

/// The downloads of a live cache's manager that are running, in the order in which they were
/// started: for a host's screen. Empty for an absent or unknown manager. Any thread, at once.
std::vector<VideoDownload> runningDownloads(const std::optional<UUID>& managerId);

/// The registry's entry for the video cache.
struct VideoCacheDependencyKey {
  using Value = VideoCacheDependency;

  /// One cache manager per `create`, on disk and in memory.
  static Value liveValue();
  /// The same with the host's own choice for each manager.
  static Value liveValue(VideoCacheSettings settings);
  /// Touches neither disk nor network; hands out a placeholder item.
  static Value testValue();
};

/// The video cache of a dependency registry.
std::shared_ptr<const VideoCacheDependency> videoManager(const DependencyValues& values);
void setVideoManager(DependencyValues& values, VideoCacheDependency client);

}  // namespace tavrin
