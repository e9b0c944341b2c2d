#include "Tavrin/Feature/PlayerLooping.hpp"

#include "Tavrin/Foundation/NotificationCenter.hpp"

namespace tavrin {

void loopVideo(const std::shared_ptr<AVPlayer>& player) {
  player->setActionAtItemEnd(AVPlayer::ActionAtItemEnd::pause);
  NotificationCenter::defaultCenter().addObserver(
      player, playerDidFinishPlaying, AVPlayerItemDidPlayToEndTime, player->currentItem());
}

void removeLoopListener(AVPlayer& player) {
  NotificationCenter::defaultCenter().removeObserver(&player, AVPlayerItemDidPlayToEndTime,
                                                     player.currentItem());
}

void playerDidFinishPlaying(AVPlayer& player) {
  player.seek(CMTime::zero);
  player.play();
}

}  // namespace tavrin
