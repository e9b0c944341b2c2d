#include "App/ScreenModel.hpp"

#include <algorithm>

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
  return {displayName(media.url ? media.url->lastPathComponent() : ""), media.mimeType.isVideo(),
          player.outcome(position) == Outcome::failed, player.cacheState(position)};
}

}  // namespace

std::string displayName(const std::string& fileName) {
  const auto dot = fileName.rfind('.');
  auto name = fileName.substr(0, dot == 0 ? fileName.npos : dot);
  std::ranges::replace(name, '-', ' ');
  std::ranges::replace(name, '_', ' ');
  if (!name.empty() && name[0] >= 'a' && name[0] <= 'z') {
    name[0] = static_cast<char>(name[0] - 'a' + 'A');
  }
  return name.empty() ? "Untitled" : name;
}

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
  model.isStalled = player.isStalled();
  model.canGoBack = player.canStep(true);
  model.canGoOn = player.canStep(false);
  if (model.isVideo() && model.stage == ScreenModel::Stage::shown) {
    const auto& current = *player.state().player();
    model.seconds = current.currentTime().seconds;
    if (const auto duration = current.duration()) model.duration = duration->seconds;
  }
  model.drawVideo = [&player](const PixelBuffer& target) { return player.drawPicture(target); };
  if (const auto frame = player.imageFrame(now)) model.image = frame->bitmap;
  return model;
}

}  // namespace tavrin::app
