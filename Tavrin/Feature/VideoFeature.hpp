#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "Tavrin/Architecture/DependencyValues.hpp"
#include "Tavrin/Architecture/EffectOrder.hpp"
#include "Tavrin/Architecture/Reducer.hpp"
#include "Tavrin/Cache/VideoCacheDependency.hpp"
#include "Tavrin/Feature/VideoFeatureAction.hpp"
#include "Tavrin/Feature/VideoFeatureState.hpp"

namespace tavrin {

/// The video feature: plays a workout's media one after another from the video cache.
///
/// A host gives it to a `Store`, sends `prepareMedia`, then `setMedia` for the first item and for
/// each that follows, whatever its controls ask for, and `playerDeinit` at the end. Nothing fails:
/// where there is no position, item or player, nothing happens.
///
/// Steps take effect one after another, each with all that it leads to, so the last one asked for
/// is the one that is shown. A value serves one store; a copy is a feature of its own.
class VideoFeature {
 public:
  using State = VideoFeatureState;
  using Action = VideoFeatureAction;
  using BusinessAction = Action::BusinessAction;

  /// Reaches the cache through the dependency registry that is in force now.
  VideoFeature() = default;

  /// Main queue only.
  Effect<Action> reduce(State& state, const Action& action) const;

  /// The position after a step forward from `index`: `index` itself while holding, 0 when wrapping
  /// around from the last item, `count` after the last item otherwise, absent beyond that.
  static std::optional<std::int64_t> _nextMediaIndex(std::int64_t index, bool holdPosition,
                                                     const MediaList& media, bool wrapAround);
  /// The position after a step back from `index`: the last one (-1 in an empty list) when wrapping
  /// around from 0, absent at or before 0 otherwise.
  static std::optional<std::int64_t> _prevMediaIndex(std::int64_t index, const MediaList& media,
                                                     bool wrapAround);
  /// The `nth` video after the video at `index`; absent when there is none, or no video at `index`.
  static std::optional<Media> _getNextVideo(std::int64_t index, std::int64_t nth,
                                            const MediaList& media);
  /// The `nth` video before the video at `index`; absent when there is none, or no video at
  /// `index`.
  static std::optional<Media> _getPreviousVideo(std::int64_t index, std::int64_t nth,
                                                const MediaList& media);
  /// Makes the player loop its current item, if `loop` is true and there is a player.
  static void _loopVideo(std::optional<bool> loop, const std::shared_ptr<AVPlayer>& player);

 private:
  class BusinessReducer;

  Effect<Action> _reduce(State& state, const BusinessAction& action) const;

  Dependency<VideoCacheDependencyKey> videoManager;
  EffectOrder order_;  // of the step and player effects
};

}  // namespace tavrin
