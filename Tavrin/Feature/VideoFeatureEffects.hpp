#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "Tavrin/Architecture/DependencyValues.hpp"
#include "Tavrin/Architecture/Effect.hpp"
#include "Tavrin/Architecture/EffectOrder.hpp"
#include "Tavrin/Cache/VideoCacheDependency.hpp"
#include "Tavrin/Feature/VideoFeatureAction.hpp"
#include "Tavrin/Feature/VideoFeatureState.hpp"

/// The asynchronous operations that the video feature's reducer returns. Each holds what it
/// captured and never reads the live state. They run on the shared executor and are never
/// cancelled. A step and the player effect that it leads to are done before the next step begins.
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
  EffectOrder::Place place = {};

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
  EffectOrder::Place place = {};

  Task<void> operator()(SendAction send) const;
};

/// Destroys the cache manager.
struct TeardownEffect {
  VideoManager videoManager;
  std::optional<UUID> managerId;

  Task<void> operator()(SendAction send) const;
};

}  // namespace tavrin
