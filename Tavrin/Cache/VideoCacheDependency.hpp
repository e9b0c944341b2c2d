#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Architecture/DependencyValues.hpp"
#include "Architecture/Task.hpp"
#include "Models/Media.hpp"
#include "Platform/Media/AVPlayerItem.hpp"

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
  /// Reads the current and the next video from disk into memory.
  std::function<Task<void>(ManagerId, Video current, Video next)> prepareFirstTwoVideos;
  /// Lets go of the second video behind, and reads the first one ahead into memory.
  std::function<Task<void>(ManagerId, Video behind, Video ahead)> onSkipForwardPrepare;
  /// Lets go of the second video ahead, and reads the first one behind into memory.
  std::function<Task<void>(ManagerId, Video behind, Video ahead)> onSkipBackPrepare;
};

/// The registry's entry for the video cache.
struct VideoCacheDependencyKey {
  using Value = VideoCacheDependency;

  /// One cache manager per `create`, on disk and in memory.
  static Value liveValue();
  /// Touches neither disk nor network; hands out a placeholder item.
  static Value testValue();
};

/// The video cache of a dependency registry.
std::shared_ptr<const VideoCacheDependency> videoManager(const DependencyValues& values);
void setVideoManager(DependencyValues& values, VideoCacheDependency client);

}  // namespace tavrin
