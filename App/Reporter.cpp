#include "App/Reporter.hpp"

#include <cstdio>

namespace tavrin::app {

namespace {

using Outcome = WorkoutPlayer::Outcome;

std::string fileName(const Media& media) {
  return media.url ? media.url->lastPathComponent() : media.id.text();
}

std::string text(CacheState state) {
  switch (state) {
    case CacheState::streaming:
      return "streaming";
    case CacheState::onDisk:
      return "on disk";
    case CacheState::inMemory:
      return "in memory";
  }
  return "";
}

std::string text(Outcome outcome, const std::string& failure) {
  switch (outcome) {
    case Outcome::notTried:
      return "none";
    case Outcome::pending:
      return "loading";
    case Outcome::shown:
      return "shown";
    case Outcome::failed:
      return "could not load: " + failure;
  }
  return "";
}

std::string playback(const WorkoutPlayer& player) {
  if (player.isStalled()) return "waiting for bytes";
  return player.isPlaying() ? "playing" : "paused";
}

}  // namespace

Totals Totals::of(const WorkoutPlayer& player) {
  Totals totals;
  totals.downloaded = player.downloaded();
  for (std::int64_t i = 0; i < player.state().media().count(); ++i) {
    if (player.outcome(i) == Outcome::failed) ++totals.failed;
    if (player.outcome(i) != Outcome::shown) continue;
    ++totals.shown;
    if (player.wasOnDisk(i)) ++totals.fromDisk;
  }
  return totals;
}

std::string Totals::text() const {
  return std::to_string(shown) + (shown == 1 ? " item" : " items") + " shown, " +
         std::to_string(downloaded) + " downloaded, " + std::to_string(fromDisk) + " from disk, " +
         std::to_string(failed) + " failed";
}

void Reporter::update() {
  const auto& state = player_.state();
  const auto& media = state.media();
  std::string current = "none";
  if (const auto& item = state.currentMedia()) {
    const auto position = media.index(item->id).value_or(0);
    current =
        std::to_string(position + 1) + "/" + std::to_string(media.count()) + " " + fileName(*item);
  }
  set("current", current);
  set("item", text(player_.outcome(), player_.failure()));
  if (state.player()) {
    set("playback", playback(player_));
    set("sound", state.isMuted() ? "off" : "on");
  }
  for (std::int64_t i = 0; i < media.count(); ++i) {
    if (const auto cached = player_.cacheState(i)) set(fileName(media[i]), text(*cached));
  }
}

void Reporter::set(const std::string& what, const std::string& value) {
  auto& told = told_[what];
  if (told == value) return;
  told = value;
  tell(what, value);
}

void Reporter::tell(const std::string& what, const std::string& value) const {
  char time[32];
  static_cast<void>(std::snprintf(time, sizeof time, "%8.3f  ", clock_.seconds()));
  write_(time + what + ": " + value);
}

}  // namespace tavrin::app
