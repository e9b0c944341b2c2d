#pragma once

#include <array>
#include <cstddef>
#include <optional>

#include "Load/SoakWorld.hpp"
#include "Tavrin/Architecture/Store.hpp"
#include "Tavrin/Feature/VideoFeature.hpp"

namespace tavrin::load {

/// One player of a soak with its host, who does at random what hosts do. Main thread only.
class SoakPlayer {
 public:
  SoakPlayer(Dice& dice, SoakWorld& world) : dice_(dice), world_(world) {}

  /// One action of the host, or a picture drawn.
  void act();
  /// Whether `end` may be called. A player that is released before its cache manager has a name
  /// would leave the manager behind.
  bool canEnd() const { return !store_ || store_->state().managerId().has_value(); }
  /// Releases the player and the state.
  void end();

 private:
  void begin();
  void send(VideoFeature::BusinessAction action);
  void sendStep();
  void draw();

  Dice& dice_;
  SoakWorld& world_;
  std::optional<Store<VideoFeature>> store_;
  bool isDeinitialised_ = false;
  std::array<std::byte, std::size_t{64} * 36 * 4> pixels_{};
};

}  // namespace tavrin::load
