#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "Tavrin/Architecture/IdentifiedArray.hpp"
#include "Tavrin/Architecture/Observation.hpp"
#include "Tavrin/Media/AVPlayer.hpp"
#include "Tavrin/Models/Media.hpp"

namespace tavrin {

/// The items of a workout in order, one per identifier.
using MediaList = IdentifiedArray<UUID, Media>;

/// What the host renders the player from. It belongs to the main queue, and only the reducer
/// changes it. Each field is read by calling it and can be observed by itself.
struct VideoFeatureState {
  /// Begins at the first item with nothing current. Absent entries are dropped, and so are items
  /// whose identifier an earlier one has.
  explicit VideoFeatureState(std::vector<std::optional<Media>> media);

  /// The feature's only player, from the first item installed until the end. Compares by identity.
  Observed<std::shared_ptr<AVPlayer>> player;
  /// The item being shown. Absent before the first, and after a step by position until its item has
  /// arrived.
  Observed<std::optional<Media>> currentMedia;
  /// The status that the last player item had when the player got it; not kept up to date.
  Observed<std::optional<AVPlayerItemStatus>> playerStatus;
  /// Whether a player item has been installed since the last `setMedia`.
  Observed<bool> playerIsSet = false;
  Observed<bool> isMuted = false;
  /// The position in `media` that the last step chose. One past the end after a step forward from
  /// the last item.
  Observed<std::int64_t> videoIndex = std::int64_t{0};
  /// The feature's cache manager. Absent until `prepareMedia` has made it.
  Observed<std::optional<UUID>> managerId;
  Observed<MediaList> media;
  ObservableStateId id;

  bool operator==(const VideoFeatureState&) const = default;
};

}  // namespace tavrin
