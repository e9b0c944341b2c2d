#include "Tavrin/Feature/VideoFeature.hpp"

#include <utility>
#include <variant>

#include "Tavrin/Feature/PlayerLooping.hpp"
#include "Tavrin/Feature/VideoFeatureEffects.hpp"
#include "Tavrin/Foundation/FatalError.hpp"

namespace tavrin {

static_assert(Reducer<VideoFeature>);
static_assert(TCAFeatureAction<VideoFeatureAction>);

namespace {

using Result = Effect<VideoFeatureAction>;

std::optional<AVPlayerItemStatus> statusOf(const std::shared_ptr<AVPlayerItem>& item) {
  return item ? std::optional(item->status()) : std::nullopt;
}

}  // namespace

// One function per action, named by its case.
class VideoFeature::BusinessReducer {
 public:
  BusinessReducer(State& state, const VideoManager& videoManager, const EffectOrder& order)
      : state_(state), videoManager_(videoManager), order_(order) {}

  Result operator()(const BusinessAction::SetMedia& action) {
    const auto& values = action.values;
    const bool holdPosition = !state_.currentMedia().has_value();
    pausePlayer();
    state_.playerIsSet = false;
    if (!values.mediaId) return Result::none();
    const auto next = _nextMediaIndex(state_.videoIndex(), holdPosition, state_.media(),
                                      values.isExerciseLooping);
    if (next && !values.isSkippedBack) {
      return step(StepEffect::Direction::forward, next, values.mediaId);
    }
    const auto previous =
        _prevMediaIndex(state_.videoIndex(), state_.media(), values.isExerciseLooping);
    return step(StepEffect::Direction::back, previous, values.mediaId);
  }

  Result operator()(const BusinessAction::SetPlayer& action) const {
    return Result::run(PlayerEffect{videoManager_, state_.managerId(), action.values,
                                    state_.player(), order_.next()});
  }

  Result operator()(const BusinessAction::SetCurrentMedia& action) {
    state_.currentMedia = action.values;
    return Result::none();
  }

  Result operator()(const BusinessAction::SetPlayerStatus& action) {
    state_.playerStatus = statusOf(action.values);
    return Result::none();
  }

  Result operator()(const BusinessAction::SaveManagerId& action) {
    state_.managerId = action.values;
    return Result::none();
  }

  // A player that is already there is replaced as it is. What it still has registered delivers
  // nothing once the last effect that holds it has ended.
  Result operator()(const BusinessAction::SetPlayerIfNil& action) {
    const auto& [item, loop] = action.values;
    const auto player = AVPlayer::make(item);
    state_.player = player;
    player->setAutomaticallyWaitsToMinimizeStalling(false);
    state_.playerStatus = statusOf(item);
    _loopVideo(loop, player);
    return Result::none();
  }

  Result operator()(const BusinessAction::PrepareMedia&) const {
    return Result::run(PrepareEffect{videoManager_, state_.media()});
  }

  Result operator()(const BusinessAction::Pause&) {
    pausePlayer();
    return Result::none();
  }

  // Each flag is inverted from its own value: a new player begins unmuted whatever the state says.
  Result operator()(const BusinessAction::MuteVideo&) {
    if (const auto player = state_.player()) {
      state_.isMuted.modify([](bool& isMuted) { isMuted = !isMuted; });
      player->setMuted(!player->isMuted());
    }
    return Result::none();
  }

  Result operator()(const BusinessAction::PlayVideo&) {
    const auto& current = state_.currentMedia();
    if (current && current->mimeType.isVideo() && state_.player()) state_.player()->play();
    return Result::none();
  }

  Result operator()(const BusinessAction::PlayerDeinit&) {
    pausePlayer();
    if (state_.player()) removeLoopListener(*state_.player());
    state_.player = nullptr;
    return Result::run(TeardownEffect{videoManager_, state_.managerId()});
  }

  Result operator()(const BusinessAction::NextMedia&) {
    const bool holdPosition = !state_.currentMedia().has_value();
    pausePlayer();
    state_.currentMedia = std::nullopt;
    const auto next = _nextMediaIndex(state_.videoIndex(), holdPosition, state_.media(), false);
    return step(StepEffect::Direction::forward, next, std::nullopt);
  }

  Result operator()(const BusinessAction::PrevMedia&) {
    pausePlayer();
    state_.currentMedia = std::nullopt;
    const auto previous = _prevMediaIndex(state_.videoIndex(), state_.media(), false);
    return step(StepEffect::Direction::back, previous, std::nullopt);
  }

  Result operator()(const BusinessAction::SetPlayerIsSet&) {
    state_.playerIsSet = true;
    return Result::none();
  }

 private:
  void pausePlayer() {
    if (const auto& player = state_.player()) player->pause();
  }

  Result step(StepEffect::Direction direction, std::optional<std::int64_t> position,
              std::optional<UUID> mediaId) {
    if (!position) return Result::none();
    state_.videoIndex = *position;
    return Result::run(StepEffect{videoManager_, direction, state_.managerId(), *position,
                                  state_.media(), mediaId, order_.last()});
  }

  State& state_;
  const VideoManager& videoManager_;
  const EffectOrder& order_;
};

Effect<VideoFeatureAction> VideoFeature::reduce(State& state, const Action& action) const {
  const auto* business = std::get_if<Action::Business>(&action.value);
  if (business == nullptr) fatalError("A case without values has been reached");
  return _reduce(state, business->values);
}

Effect<VideoFeatureAction> VideoFeature::_reduce(State& state, const BusinessAction& action) const {
  return std::visit(BusinessReducer(state, videoManager, order_), action.value);
}

void VideoFeature::_loopVideo(std::optional<bool> loop, const std::shared_ptr<AVPlayer>& player) {
  if (loop == true && player) loopVideo(player);
}

}  // namespace tavrin
