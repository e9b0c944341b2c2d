#include "App/ScriptRunner.hpp"

namespace tavrin::app {

namespace {

using Kind = ScriptCommand::Kind;
using Outcome = WorkoutPlayer::Outcome;

bool isSettled(Outcome outcome) { return outcome != Outcome::pending; }

}  // namespace

Script tourOf(const WorkoutPlayer& player) {
  Script script;
  std::int64_t number = 0;
  for (const auto& media : player.state().media()) {
    script.push_back({.kind = Kind::set, .number = ++number});
    script.push_back({Kind::waitReady});
    if (media.mimeType.isVideo()) {
      script.push_back({Kind::waitEnd});
    } else {
      script.push_back({.kind = Kind::waitTime, .duration = std::chrono::seconds(2)});
    }
  }
  return script;
}

void ScriptRunner::tick(Clock::time_point now) {
  while (!isDone()) {
    if (!carryOut(script_[next_], now)) return;
    waitingSince_.reset();
    ++next_;
  }
}

bool ScriptRunner::carryOut(const ScriptCommand& command, Clock::time_point now) {
  switch (command.kind) {
    case Kind::set:
      player_.set(command.number - 1);
      return true;
    case Kind::next:
      player_.next();
      return true;
    case Kind::previous:
      player_.previous();
      return true;
    case Kind::mute:
      player_.toggleMute();
      return true;
    case Kind::pause:
      player_.pause();
      return true;
    case Kind::play:
      player_.play();
      return true;
    case Kind::seek:
      player_.seek(std::chrono::duration<double>(command.duration).count());
      return true;
    case Kind::snapshot:
      takeSnapshot_(command.path);
      return true;
    case Kind::quit:
      hasQuit_ = true;
      next_ = script_.size() - 1;  // nothing after it is carried out
      return true;
    case Kind::waitReady:
    case Kind::waitEnd:
    case Kind::waitStored:
    case Kind::waitTime:
      return isOver(command, now);
  }
  return true;
}

bool ScriptRunner::isOver(const ScriptCommand& wait, Clock::time_point now) {
  if (!waitingSince_) waitingSince_ = now;
  switch (wait.kind) {
    case Kind::waitReady:
      return isSettled(player_.outcome());
    case Kind::waitEnd:
      return isEnded();
    case Kind::waitStored:
      return isStored(now);
    default:
      return now - *waitingSince_ >= wait.duration;
  }
}

bool ScriptRunner::isEnded() const {
  if (player_.outcome() != Outcome::shown) return isSettled(player_.outcome());
  const auto& current = player_.state().media()[*player_.target()];
  return !current.mimeType.isVideo() || player_.rounds() > 0;
}

bool ScriptRunner::isStored(Clock::time_point now) {
  if (player_.isAllStored()) return true;
  if (player_.downloaded() != storedBefore_) {
    storedBefore_ = player_.downloaded();
    waitingSince_ = now;
  }
  return now - *waitingSince_ >= player_.settings().patience;
}

}  // namespace tavrin::app
