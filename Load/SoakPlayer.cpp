#include "Load/SoakPlayer.hpp"

#include <utility>

namespace tavrin::load {

namespace {
using Business = VideoFeature::BusinessAction;
}  // namespace

void SoakPlayer::send(Business action) {
  store_->send(VideoFeatureAction::business(std::move(action)));
}

void SoakPlayer::begin() {
  store_.emplace(VideoFeatureState(world_.makeWorkout()), VideoFeature());
  isDeinitialised_ = false;
  send(Business::prepareMedia());
}

void SoakPlayer::end() {
  if (!store_) return;
  if (!std::exchange(isDeinitialised_, true)) send(Business::playerDeinit());
  store_.reset();
}

void SoakPlayer::act() {
  if (!store_) return begin();
  const int what = dice_.below(100);
  if (isDeinitialised_) {
    // Late effects may arrive meanwhile, and actions of a host who has not noticed yet.
    if (what < 50) return end();
    return what < 75 ? send(Business::nextMedia()) : send(Business::pause());
  }
  if (what < 30) return sendStep();
  if (what < 42) return send(Business::nextMedia());
  if (what < 52) return send(Business::prevMedia());
  if (what < 60) return send(Business::pause());
  if (what < 68) return send(Business::playVideo());
  if (what < 73) return send(Business::muteVideo());
  if (what < 97 || !canEnd()) return draw();
  send(Business::playerDeinit());
  isDeinitialised_ = true;
  if (dice_.hits(30)) store_.reset();
}

void SoakPlayer::sendStep() {
  const auto& media = store_->state().media();
  const auto index = dice_.below(static_cast<int>(media.count()));
  const auto id = dice_.hits(5) ? std::nullopt : std::optional(media[index].id);
  send(Business::setMedia(SetMediaValues(id, dice_.hits(40), dice_.hits(50))));
}

void SoakPlayer::draw() {
  const auto player = store_->state().player();
  if (player) player->engine().draw({pixels_.data(), 64, 36, 64 * 4});
}

}  // namespace tavrin::load
