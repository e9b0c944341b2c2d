#include "App/WorkoutPlayer.hpp"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <utility>

namespace tavrin::app {

namespace {

std::vector<std::optional<Media>> optional(std::vector<Media> media) {
  return {std::make_move_iterator(media.begin()), std::make_move_iterator(media.end())};
}

}  // namespace

WorkoutPlayer::WorkoutPlayer(Settings settings, std::vector<Media> items,
                             std::shared_ptr<Trace> trace)
    : settings_(std::move(settings)),
      trace_(std::move(trace)),
      mutesFirstPlayer_(settings_.startsMuted),
      patience_(settings_.patience),
      seeking_(Seeking::make([this] { tell(); })) {
  cache_ = CacheWatch::make(*videoManager(DependencyValues::current()), trace_,
                            [weak = std::weak_ptr(self_)] {
                              const auto self = weak.lock();
                              if (!self) return;
                              ++(*self)->saved_;
                              (*self)->takeWaitingStep();
                            });
  viewEnvironment_.needsDisplay = settings_.pictureIsNew;
  withDependencies([&](DependencyValues& values) { setVideoManager(values, cache_->client()); },
                   [&] {
                     store_ = std::make_unique<Store<TracedFeature>>(
                         VideoFeatureState(optional(std::move(items))), TracedFeature(trace_));
                   });
  const auto count = static_cast<std::size_t>(state().media().count());
  outcomes_.resize(count, Outcome::notTried);
  for (std::size_t i = 0; i < count; ++i) {
    wasOnDisk_.push_back(cacheState(static_cast<std::int64_t>(i)) == CacheState::onDisk);
    imageFailed_.emplace_back(false, [weak = std::weak_ptr(self_)] {
      if (const auto self = weak.lock()) (*self)->judge();
    });
  }
  observeState();
}

WorkoutPlayer::~WorkoutPlayer() {
  changed_ = nullptr;
  if (state().player()) state().player()->engine().setPictureHandler([] {});
  image_.reset();
  watch_.reset();
  seeking_->forget();
  send(BusinessAction::playerDeinit());
}

void WorkoutPlayer::observeState() {
  const auto& fields = state();
  const auto look = [this] {
    watchTarget();
    tell();
  };
  observations_.push_back(fields.player.observe([this] { playerChanged(); }));
  observations_.push_back(fields.currentMedia.observe(look));
  observations_.push_back(fields.playerStatus.observe(look));
  observations_.push_back(fields.playerIsSet.observe(look));
  observations_.push_back(fields.isMuted.observe(look));
  observations_.push_back(fields.videoIndex.observe(look));
  observations_.push_back(fields.managerId.observe([this] { takeWaitingStep(); }));
}

// Before it, a step would end in a player without an item, or stream its video beside the download
// that is about to begin.
bool WorkoutPlayer::isCacheFilling() const {
  const auto isVideo = [](const Media& item) { return item.mimeType.isVideo(); };
  return state().managerId() && saved_ >= std::ranges::count_if(state().media(), isVideo);
}

void WorkoutPlayer::takeWaitingStep() {
  if (!isCacheFilling()) return;
  if (const auto waiting = std::exchange(waitingStep_, std::nullopt)) set(*waiting);
}

// A new player starts with its sound on, whatever the state says.
void WorkoutPlayer::playerChanged() {
  if (const auto& player = state().player()) {
    player->engine().setPictureHandler(settings_.pictureIsNew);
    player->setMuted(state().isMuted());
    if (std::exchange(mutesFirstPlayer_, false)) send(BusinessAction::muteVideo());
  }
  tell();
}

void WorkoutPlayer::send(BusinessAction action) {
  store_->send(VideoFeatureAction::business(std::move(action)));
}

void WorkoutPlayer::prepare() { send(BusinessAction::prepareMedia()); }

// The feature's position moves by one with each step, whichever item is named, and the cache keeps
// the neighbours of that position ready. So a jump takes the direction that brings the position
// closer to the item.
void WorkoutPlayer::set(std::int64_t position) {
  if (!isCacheFilling()) {
    waitingStep_ = position;
    return startTrying(position);
  }
  const auto& items = state().media();
  const bool isLooping = settings_.isExerciseLooping;
  const auto forward = VideoFeature::_nextMediaIndex(
      state().videoIndex(), !state().currentMedia().has_value(), items, isLooping);
  const auto back = VideoFeature::_prevMediaIndex(state().videoIndex(), items, isLooping);
  const auto distance = [&](std::int64_t from) { return std::abs(from - position); };
  step(position, !forward || (back && distance(*back) < distance(*forward)));
}

void WorkoutPlayer::step(std::int64_t position, bool back) {
  startTrying(position);
  send(BusinessAction::setMedia(
      SetMediaValues(media(position).id, back, settings_.isExerciseLooping)));
}

bool WorkoutPlayer::canStep(bool back) const {
  if (!target_) return !back;
  if (settings_.isExerciseLooping && state().media().count() > 1) return true;
  return back ? *target_ > 0 : *target_ + 1 < state().media().count();
}

// The next and the previous item are found by the feature's own position where that is the
// target's; after a jump, and around the ends of the list, by their identifiers.
void WorkoutPlayer::next() {
  if (!canStep(false)) return;
  if (!target_) return set(0);
  const auto position = (*target_ + 1) % state().media().count();
  if (waitingStep_) return set(position);
  if (state().videoIndex() != *target_ || position == 0) return step(position, false);
  const bool isWaiting = !state().currentMedia().has_value();  // then the feature stays where it is
  startTrying(isWaiting ? *target_ : position);
  send(BusinessAction::nextMedia());
}

void WorkoutPlayer::previous() {
  if (!canStep(true)) return;
  const auto count = state().media().count();
  const auto position = (*target_ + count - 1) % count;
  if (waitingStep_) return set(position);
  if (state().videoIndex() != *target_ || *target_ == 0) return step(position, true);
  startTrying(position);
  send(BusinessAction::prevMedia());
}

void WorkoutPlayer::toggleMute() { send(BusinessAction::muteVideo()); }

void WorkoutPlayer::pause() {
  send(BusinessAction::pause());
  tell();
}

void WorkoutPlayer::play() {
  if (std::exchange(isAtEnd_, false) && state().player()) state().player()->seek(CMTime::zero);
  patience_.restart(Clock::now());
  send(BusinessAction::playVideo());
  tell();
}

bool WorkoutPlayer::isPlaying() const {
  const auto item = targetItem();
  return item && !isAtEnd_ && outcome() != Outcome::failed && state().player()->isPlaying();
}

WorkoutPlayer::Outcome WorkoutPlayer::outcome() const {
  return target_ ? outcome(*target_) : Outcome::notTried;
}

std::optional<CacheState> WorkoutPlayer::cacheState(std::int64_t position) const {
  const auto& item = media(position);
  if (!item.url || !item.mimeType.isVideo()) return std::nullopt;
  return cache_->state(*item.url);
}

bool WorkoutPlayer::isAllStored() const {
  for (std::int64_t i = 0; i < state().media().count(); ++i) {
    if (cacheState(i) == CacheState::streaming) return false;
  }
  return true;
}

void WorkoutPlayer::startTrying(std::int64_t position) {
  target_ = position;
  watch_.reset();
  image_.reset();
  failure_.clear();
  rounds_ = 0;
  isAtEnd_ = false;
  isStalled_ = false;
  seeking_->forget();
  patience_.restart(Clock::now());
  outcomes_[static_cast<std::size_t>(position)] = Outcome::pending;
}

std::shared_ptr<AVPlayerItem> WorkoutPlayer::targetItem() const {
  if (!target_ || !state().player() || !state().playerIsSet()) return nullptr;
  const auto& wanted = media(*target_);
  if (state().currentMedia() != wanted || !wanted.url || !wanted.mimeType.isVideo()) return nullptr;
  const auto item = state().player()->currentItem();
  // Every kind of item has the last path component of the video that it is for.
  const bool isFor =
      item && item->asset()->url().lastPathComponent() == wanted.url->lastPathComponent();
  return isFor ? item : nullptr;
}

void WorkoutPlayer::watchTarget() {
  if (!target_ || state().currentMedia() != media(*target_)) return;
  const auto& wanted = media(*target_);
  if (!wanted.mimeType.isVideo()) {
    if (image_ || !wanted.url) return;
    const auto& isFailed = imageFailed_[static_cast<std::size_t>(*target_)];
    image_ = std::make_unique<ImageShow>(*wanted.url, isFailed.binding(), viewEnvironment_);
    return judge();
  }
  const auto item = targetItem();
  if (!item || (watch_ && watch_->item() == item)) return;
  watch_ = ItemWatch::make(item, {.statusChanged = [this] { judge(); },
                                  .playedToEnd = [this] { playedToEnd(); },
                                  .stalled = [this] { stalled(); }});
  judge();
}

void WorkoutPlayer::playedToEnd() {
  ++rounds_;
  isAtEnd_ = media(*target_).loopVideo != true;
  patience_.restart(Clock::now());
  trace_->write(Trace::Kind::player, "playedToEnd", {{"item", *target_ + 1}});
  tell();
}

void WorkoutPlayer::stalled() {
  isStalled_ = true;
  trace_->write(Trace::Kind::player, "stalled", {{"item", *target_ + 1}});
  tell();
}

bool WorkoutPlayer::drawPicture(const PixelBuffer& target) const {
  const auto item = targetItem();
  if (!item) return false;
  const auto load = state().player()->engine().draw(target);
  return load && state().player()->item(*load) == item;
}

// An item that was ready once stays so, but its picture comes anew with each load.
bool WorkoutPlayer::hasPicture() const {
  constexpr int side = 16;
  constexpr auto stride = std::ptrdiff_t{4} * side;
  alignas(64) std::array<std::byte, stride * side> pixels{};
  return drawPicture({pixels.data(), side, side, stride});
}

std::optional<AnimatedImageView::Frame> WorkoutPlayer::imageFrame(Clock::time_point now) const {
  return image_ ? image_->frame(now) : std::nullopt;
}

void WorkoutPlayer::judge() {
  if (image_) {
    if (image_->isFailed()) return settle(Outcome::failed, image_->failure());
    if (imageFrame(Clock::now())) return settle(Outcome::shown);
    if (outcome() == Outcome::failed) settle(Outcome::pending);
    return;
  }
  if (!watch_) return;
  const auto& item = *watch_->item();
  if (item.status() == AVPlayerItemStatus::failed) {
    return settle(Outcome::failed,
                  item.error() ? item.error()->description : "It cannot be played");
  }
  const bool isReady = item.status() == AVPlayerItemStatus::readyToPlay;
  if (isReady && outcome() != Outcome::shown && hasPicture()) settle(Outcome::shown);
}

void WorkoutPlayer::settle(Outcome outcome, std::string failure) {
  auto& known = outcomes_[static_cast<std::size_t>(*target_)];
  if (known == outcome) return;
  known = outcome;
  const bool isExplained = outcome == Outcome::failed && settings_.explain;
  const auto better = isExplained ? settings_.explain(*target_) : std::nullopt;
  failure_ = better.value_or(std::move(failure));
  patience_.restart(Clock::now());
  if (outcome == Outcome::failed) {
    trace_->write(Trace::Kind::player, "failed", {{"item", *target_ + 1}, {"why", failure_}});
  } else if (outcome == Outcome::shown) {
    trace_->write(Trace::Kind::player, "shown", {{"item", *target_ + 1}});
  }
  tell();
}

std::string WorkoutPlayer::fileName(std::int64_t position) const {
  const auto& url = media(position).url;
  return url ? url->lastPathComponent() : "";
}

void WorkoutPlayer::watchDownloads(Clock::time_point now) {
  if (now - downloadsRead_ < DownloadWatch::interval) return;
  downloadsRead_ = now;
  if (downloads_.update(runningDownloads(state().managerId()), now)) settings_.pictureIsNew();
}

void WorkoutPlayer::tick(Clock::time_point now) {
  watchTarget();
  if (outcome() == Outcome::pending) judge();
  judgePatience(now);
  seeking_->tick(now);
  const bool isSeekWaiting = seeking_->isWaiting(now) && !isWhole();
  if (std::exchange(isSeekWaiting_, isSeekWaiting) != isSeekWaiting) tell();
  watchDownloads(now);
  const auto stored = cache_->takeStored().size();
  downloaded_ += static_cast<std::int64_t>(stored);
  if (stored > 0) tell();
}

}  // namespace tavrin::app
