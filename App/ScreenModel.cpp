#include "App/ScreenModel.hpp"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "App/ScreenText.hpp"
#include "App/WorkoutPlayer.hpp"

namespace tavrin::app {

namespace {

using Outcome = WorkoutPlayer::Outcome;

ScreenModel::Stage stageOf(Outcome outcome) {
  switch (outcome) {
    case Outcome::notTried:
      return ScreenModel::Stage::empty;
    case Outcome::pending:
      return ScreenModel::Stage::loading;
    case Outcome::shown:
      return ScreenModel::Stage::shown;
    case Outcome::failed:
      return ScreenModel::Stage::failed;
  }
  return ScreenModel::Stage::empty;
}

ScreenModel::Item itemAt(const WorkoutPlayer& player, std::int64_t position) {
  const auto& media = player.state().media()[position];
  const auto name = media.url ? media.url->lastPathComponent() : "";
  const auto download = media.mimeType.isVideo() ? player.downloads().progress(name) : std::nullopt;
  return {displayName(name), media.mimeType.isVideo(), player.outcome(position) == Outcome::failed,
          player.cacheState(position), download};
}

// The watched video's file; empty where none is.
std::string watchedName(const WorkoutPlayer& player) {
  const auto& target = player.target();
  const auto& url = target ? player.state().media()[*target].url : std::nullopt;
  return url ? url->lastPathComponent() : "";
}

std::string noteOf(const WorkoutPlayer& player) {
  const auto watched = watchedName(player);
  const auto progress = player.downloads().progress(watched);
  if (player.outcome() == Outcome::pending) {
    const auto come = progress ? progressText(*progress) : "";
    return come.empty() ? "Loading" : "Loading  ·  " + come;
  }
  if (player.outcome() != Outcome::shown || !player.isStalled()) return "";
  const auto rate = player.downloads().rate(watched);
  const std::string waiting = "Waiting for the network";
  return rate ? waiting + "  ·  " + rateText(*rate) : waiting;
}

// As many as a person reads, the watched one first; those that have no byte yet wait in line.
std::string downloadsOf(const WorkoutPlayer& player) {
  constexpr int most = 3;
  const auto watched = watchedName(player);
  std::vector<std::string> names = player.downloads().names();
  const auto first = std::ranges::find(names, watched);
  if (first != names.end()) std::rotate(names.begin(), first, first + 1);
  std::string text;
  int told = 0;
  for (const auto& name : names) {
    const auto come = progressText(*player.downloads().progress(name));
    if (come.empty() || told == most) continue;
    text += (text.empty() ? "" : "  ·  ") + displayName(name) + " " + come;
    ++told;
  }
  const auto waiting = static_cast<int>(names.size()) - told;
  if (waiting == 0) return text;
  return text.empty() ? std::to_string(waiting) + " to load"
                      : text + "  ·  " + std::to_string(waiting) + " more";
}

}  // namespace

ScreenModel screenModel(const WorkoutPlayer& player, std::chrono::steady_clock::time_point now) {
  ScreenModel model;
  model.title = player.settings().title;
  for (std::int64_t i = 0; i < player.state().media().count(); ++i) {
    model.items.push_back(itemAt(player, i));
  }
  model.current = player.target();
  model.stage = stageOf(player.outcome());
  model.failure = player.failure();
  model.isPlaying = player.isPlaying();
  model.isMuted = player.state().isMuted();
  model.note = noteOf(player);
  model.downloads = downloadsOf(player);
  model.canGoBack = player.canStep(true);
  model.canGoOn = player.canStep(false);
  if (model.isVideo() && model.stage == ScreenModel::Stage::shown) {
    model.canSeek = player.canSeek();
    model.seconds = player.seconds();
    model.duration = player.duration();
  }
  if (const auto progress = player.progress()) model.loaded = shareOf(*progress).value_or(0);
  model.drawVideo = [&player](const PixelBuffer& target) { return player.drawPicture(target); };
  if (const auto frame = player.imageFrame(now)) model.image = frame->bitmap;
  return model;
}

}  // namespace tavrin::app
