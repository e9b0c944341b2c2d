#include "Tavrin/Feature/VideoFeatureEffects.hpp"

#include <coroutine>
#include <utility>

#include "Tavrin/Feature/VideoFeature.hpp"
#include "Tavrin/Media/AVAudioSession.hpp"

namespace tavrin {

namespace {

using BusinessAction = VideoFeatureAction::BusinessAction;

VideoFeatureAction business(BusinessAction action) {
  return VideoFeatureAction::business(std::move(action));
}

std::vector<Media> videos(const MediaList& media) {
  std::vector<Media> found;
  for (const auto& item : media) {
    if (item.mimeType.isVideo()) found.push_back(item);
  }
  return found;
}

std::optional<Media> at(const std::vector<Media>& list, std::size_t position) {
  return position < list.size() ? std::optional<Media>(list[position]) : std::nullopt;
}

// The seek ends on the main queue; the effect goes on where it was. It may end, and let go of the
// player, while this thread is still in the call.
class SeekToZero {
 public:
  SeekToZero(std::shared_ptr<AVPlayer> player, Executor& executor)
      : player_(std::move(player)), executor_(executor) {}
  bool await_ready() const noexcept { return false; }
  void await_suspend(std::coroutine_handle<> effect) { seek(player_, executor_, effect); }
  void await_resume() const noexcept {}

 private:
  static void seek(const std::shared_ptr<AVPlayer> kept, Executor& executor,  // NOLINT: kept
                   std::coroutine_handle<> effect) {
    kept->seek(CMTime::zero, [effect, executor = &executor](bool) {
      executor->post([effect] { effect.resume(); });
    });
  }

  const std::shared_ptr<AVPlayer> player_;
  Executor& executor_;
};

}  // namespace

Task<void> PrepareEffect::operator()(SendAction send) const {
  const UUID id = co_await videoManager()->create();
  co_await send(business(BusinessAction::saveManagerId(id)));

  const auto toSave = videos(media);
  const auto first = at(toSave, 0);
  const auto second = at(toSave, 1);
  co_await videoManager()->prepareFirstTwoVideos(id, first, second);

  static_cast<void>(
      AVAudioSession::sharedInstance().setCategory(AVAudioSession::Category::playback));

  for (const auto& video : toSave) {
    co_await videoManager()->saveVideosToCache(id, video.url, media[0].mimeType.rawValue);
  }
}

Task<void> StepEffect::operator()(SendAction send) const {
  EffectOrder::Turn turn(place, send.executor());
  co_await turn;
  co_await prepareNeighbours();
  const auto item = itemToShow();
  if (!item) co_return;
  if (item->url && item->mimeType.isVideo()) {
    SetPlayerValues values(*item->url, item->mimeType.rawValue, item->loopVideo);
    co_await send(business(BusinessAction::setPlayer(std::move(values))));
  }
  co_await send(business(BusinessAction::setCurrentMedia(*item)));
}

// The next step may go either way, so the cache keeps one video on each side: it takes in the
// nearest one in the direction of the step, and lets go of the one that is now two away on the
// other side.
Task<void> StepEffect::prepareNeighbours() const {
  const bool isForward = direction == Direction::forward;
  const auto behind = VideoFeature::_getPreviousVideo(position, isForward ? 2 : 1, media);
  const auto ahead = VideoFeature::_getNextVideo(position, isForward ? 1 : 2, media);
  if (isForward) {
    co_await videoManager()->onSkipForwardPrepare(managerId, behind, ahead);
  } else {
    co_await videoManager()->onSkipBackPrepare(managerId, behind, ahead);
  }
}

std::optional<Media> StepEffect::itemToShow() const {
  return mediaId ? media[*mediaId] : safe(media, position);
}

Task<void> PlayerEffect::operator()(SendAction send) const {
  EffectOrder::Turn turn(place, send.executor());
  co_await turn;
  const auto item =
      co_await videoManager()->returnVideoFromArr(managerId, values.url, values.mimeType);
  if (player) {
    player->replaceCurrentItem(item);
    SeekToZero seeking(player, send.executor());
    co_await seeking;
    player->setAutomaticallyWaitsToMinimizeStalling(false);
    VideoFeature::_loopVideo(values.loopVideo, player);
    co_await send(business(BusinessAction::setPlayerStatus(item)));
  } else {
    co_await send(business(BusinessAction::setPlayerIfNil(item, values.loopVideo)));
  }
  co_await send(business(BusinessAction::setPlayerIsSet()));
  co_await send(business(BusinessAction::playVideo()));
}

Task<void> TeardownEffect::operator()(SendAction) const {
  co_await videoManager()->destroy(managerId);
}

}  // namespace tavrin
