// Where the player's video is, where it goes, and how much of it has come.
#include <algorithm>
#include <utility>

#include "App/WorkoutPlayer.hpp"

namespace tavrin::app {

bool WorkoutPlayer::canSeek() const {
  return outcome() == Outcome::shown && duration().value_or(0) > 0;
}

void WorkoutPlayer::seek(double seconds) {
  constexpr double last = 0.1;  // seconds before the end, for the last pictures
  if (!canSeek()) return;
  isAtEnd_ = false;
  const auto now = Clock::now();
  patience_.restart(now);
  seeking_->to(std::clamp(seconds, 0.0, std::max(0.0, *duration() - last)), state().player(), now);
  tell();
}

double WorkoutPlayer::seconds() const {
  if (const auto target = seeking_->target()) return *target;
  return targetItem() ? state().player()->currentTime().seconds : 0;
}

std::optional<double> WorkoutPlayer::duration() const {
  const auto known = targetItem() ? state().player()->duration() : std::nullopt;
  return known ? std::optional(known->seconds) : std::nullopt;
}

std::optional<DownloadProgress> WorkoutPlayer::progress() const {
  if (!target_) return std::nullopt;
  const auto item = std::dynamic_pointer_cast<const CachingPlayerItem>(targetItem());
  return item ? item->progress() : downloads_.progress(fileName(*target_));
}

bool WorkoutPlayer::isWhole() const {
  const auto come = progress();
  return come && come->expected == come->received;
}

// A picture may stay for as long as its clip wants. So a video that has all its bytes does not
// stand still, however long nothing moves; only a seek in it can.
void WorkoutPlayer::judgePatience(Clock::time_point now) {
  const bool isShown = outcome() == Outcome::shown;
  if (!isShown && outcome() != Outcome::pending) return;
  const auto come = progress().value_or(DownloadProgress());
  const double position = isPlaying() ? state().player()->currentTime().seconds : -1;
  const bool hasPlayed = patience_.update({position, come.received}, now);
  if (hasPlayed && std::exchange(isStalled_, false)) tell();
  const bool mayRest = isWhole() && !seeking_->target();
  if (isShown && (!isPlaying() || mayRest)) patience_.restart(now);
  if (!patience_.isOver(now)) return;
  const char* what = isShown ? "It stood still for " : "There was nothing to show for ";
  settle(Outcome::failed, what + patience_.text());
}

}  // namespace tavrin::app
