#include "Tavrin/Media/AVPlayer.hpp"

#include <utility>

#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/Foundation/NotificationCenter.hpp"
#include "Tavrin/Media/Internal/UpcomingRelay.hpp"

namespace tavrin {

std::shared_ptr<AVPlayer> AVPlayer::make(std::shared_ptr<AVPlayerItem> item) {
  const std::shared_ptr<AVPlayer> player(new AVPlayer);
  player->engine_ = MediaEngine::make(player);
  player->relay_ = std::make_shared<UpcomingRelay>(player);
  if (item) player->replaceCurrentItem(std::move(item));
  return player;
}

AVPlayer::~AVPlayer() { NotificationCenter::defaultCenter().removeObserver(this); }

void AVPlayer::play() {
  MediaEngine::LoadId ended = 0;
  {
    const LockGuard lock(mutex_);
    if (telling_ == Telling::overtaken) {
      if (DispatchQueue::main().isCurrent()) return;  // asked for by who is told of the end
      telling_ = Telling::running;
    }
    isHeld_ = false;
    isPlaying_ = true;
    ended = std::exchange(endedWhileHeld_, 0);
  }
  applyPlaying();
  if (ended == 0) return;
  DispatchQueue::main().async([weak = weak_from_this(), ended] {
    if (const auto player = weak.lock()) player->engineDidPlayToEnd(ended);
  });
}

void AVPlayer::pause() {
  {
    const LockGuard lock(mutex_);
    isHeld_ = true;
    isPlaying_ = false;
    const bool isElsewhere = !DispatchQueue::main().isCurrent();
    if (telling_ == Telling::running && isElsewhere) telling_ = Telling::overtaken;
  }
  applyPlaying();
}

// Of two calls at once the engine may hear the later one first. Each looks again, so that what was
// wanted last is what it hears last.
void AVPlayer::applyPlaying() {
  for (bool isApplied = false; !isApplied;) {
    const bool wanted = isPlaying();
    engine_->setPlaying(wanted);
    isApplied = isPlaying() == wanted;
  }
}

bool AVPlayer::isPlaying() const {
  const LockGuard lock(mutex_);
  return isPlaying_;
}

void AVPlayer::seek(CMTime time, std::function<void(bool)> completion) {
  {
    const LockGuard lock(mutex_);
    endedWhileHeld_ = 0;
  }
  engine_->seek(time, std::move(completion));
}

std::shared_ptr<AVPlayerItem> AVPlayer::currentItem() const {
  const LockGuard lock(mutex_);
  return currentItem_;
}

void AVPlayer::replaceCurrentItem(std::shared_ptr<AVPlayerItem> item) {
  auto asset = item ? item->asset() : nullptr;
  MediaEngine::LoadId load = 0;
  {
    const LockGuard lock(mutex_);
    std::swap(currentItem_, item);
    load = ++load_;
    endedWhileHeld_ = 0;
  }
  engine_->load(load, std::move(asset));
  relay_->itemHasChanged();
}

bool AVPlayer::isMuted() const {
  const LockGuard lock(mutex_);
  return isMuted_;
}

void AVPlayer::setMuted(bool muted) {
  {
    const LockGuard lock(mutex_);
    isMuted_ = muted;
  }
  engine_->setMuted(muted);
}

bool AVPlayer::automaticallyWaitsToMinimizeStalling() const {
  const LockGuard lock(mutex_);
  return waitsToMinimizeStalling_;
}

void AVPlayer::setAutomaticallyWaitsToMinimizeStalling(bool waits) {
  {
    const LockGuard lock(mutex_);
    waitsToMinimizeStalling_ = waits;
  }
  engine_->setWaitsToMinimizeStalling(waits);
}

AVPlayer::ActionAtItemEnd AVPlayer::actionAtItemEnd() const {
  const LockGuard lock(mutex_);
  return actionAtItemEnd_;
}

void AVPlayer::setActionAtItemEnd(ActionAtItemEnd action) {
  const LockGuard lock(mutex_);
  actionAtItemEnd_ = action;
}

std::shared_ptr<AVPlayerItem> AVPlayer::item(MediaEngine::LoadId load) const {
  const LockGuard lock(mutex_);
  return load == load_ ? currentItem_ : nullptr;
}

void AVPlayer::engineDidBecomeReady(MediaEngine::LoadId load) {
  if (const auto current = item(load)) current->setStatus(AVPlayerItemStatus::readyToPlay);
}

void AVPlayer::engineDidFail(MediaEngine::LoadId load, const Error& error) {
  if (const auto current = item(load)) current->setStatus(AVPlayerItemStatus::failed, error);
}

// Also when an observer throws.
class AVPlayer::EndsTelling {
 public:
  explicit EndsTelling(AVPlayer& player) : player_(player) {}
  ~EndsTelling() {
    const LockGuard lock(player_.mutex_);
    player_.telling_ = Telling::none;
  }
  EndsTelling(const EndsTelling&) = delete;
  EndsTelling& operator=(const EndsTelling&) = delete;

 private:
  AVPlayer& player_;
};

void AVPlayer::engineDidPlayToEnd(MediaEngine::LoadId load) {
  const auto current = item(load);
  if (!current) return;
  bool pauses = false;
  {
    const LockGuard lock(mutex_);
    if (isHeld_) {
      endedWhileHeld_ = load;
      return;
    }
    telling_ = Telling::running;
    pauses = actionAtItemEnd_ == ActionAtItemEnd::pause;
    if (pauses) isPlaying_ = false;
  }
  const EndsTelling ending(*this);
  if (pauses) applyPlaying();
  NotificationCenter::defaultCenter().post(AVPlayerItemDidPlayToEndTime, current);
}

void AVPlayer::engineDidStall(MediaEngine::LoadId load) {
  if (const auto current = item(load)) {
    NotificationCenter::defaultCenter().post(AVPlayerItemPlaybackStalled, current);
  }
}

}  // namespace tavrin
