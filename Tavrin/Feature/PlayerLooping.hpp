#pragma once

#include <memory>

#include "Tavrin/Media/AVPlayer.hpp"

namespace tavrin {

/// Has the player pause at the end of its item, go back to the start and play again. Each call adds
/// one more registration for the item that is current now; without an item, for the end of any item
/// in the process. The end action stays. Any thread.
void loopVideo(const std::shared_ptr<AVPlayer>& player);

/// Removes what `loopVideo` registered for the item that is current now. Any thread.
void removeLoopListener(AVPlayer& player);

/// Starts the player from time zero. Runs where the end of play is posted.
void playerDidFinishPlaying(AVPlayer& player);

}  // namespace tavrin
