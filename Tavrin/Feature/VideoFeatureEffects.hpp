#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "Architecture/DependencyValues.hpp"
#include "Architecture/Effect.hpp"
#include "Tavrin/Dependency/VideoCacheDependency.hpp"
#include "Tavrin/VideoFeatureAction.hpp"
#include "Tavrin/VideoFeatureState.hpp"

/// The asynchronous operations that the video feature's reducer returns. Each holds what it
/// captured and never reads the live state. They run on the shared executor and are never
/// cancelled.
namespace tavrin {

using VideoManager = Dependency<VideoCacheDependencyKey>;
using SendAction = Send<VideoFeatureAction>;

/// Creates the cache manager and fills the cache.
struct PrepareEffect {
  VideoManager videoManager;
  MediaList media;

  Task<void> operator()(SendAction send) const;
};

/// Prepares the neighbours of a position and shows the item of a step.
struct StepEffect {
  enum class Direction { forward, back };

  VideoManager videoManager;
  Direction direction;
  std::optional<UUID> managerId;
  std::int64_t position;
  MediaList media;
  /// The item to show. Absent: the one at `position`.
  std::optional<UUID> mediaId;

  Task<void> operator()(SendAction send) const;

 private:
  Task<void> prepareNeighbours() const;
  std::optional<Media> itemToShow() const;
};

/// Fetches the item of a video from the cache, installs it in the player and starts it.
struct PlayerEffect {
  VideoManager videoManager;
  std::optional<UUID> managerId;
  SetPlayerValues values;
  /// Null when there was no player yet.
  std::shared_ptr<AVPlayer> player;

  Task<void> operator()(SendAction send) const;
};

/// Destroys the cache manager.
struct TeardownEffect {
  VideoManager videoManager;
  std::optional<UUID> managerId;

  Task<void> operator()(SendAction send) const;
};

}  // namespace tavrin
