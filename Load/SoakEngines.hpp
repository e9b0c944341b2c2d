#pragma once

#include <memory>
#include <vector>

#include "Load/SoakWorld.hpp"
#include "Tavrin/Media/MediaEngine.hpp"
#include "Tavrin/Testing/ScriptedEngine.hpp"

namespace tavrin::load {

/// Gives players their engines: the real one, without sound, to a few at a time, and a scripted one
/// to the others. Main thread only, where players are made.
class SoakEngines {
 public:
  static constexpr std::size_t mostReal = 3;

  std::unique_ptr<MediaEngine> make(std::weak_ptr<MediaEngine::Listener> listener);
  /// Lets a scripted engine tell something.
  void report(Dice& dice);
  /// Whether all players that got an engine have gone.
  bool isIdle();

  std::size_t countReal() const { return madeReal_; }
  std::size_t countScripted() const { return madeScripted_; }

 private:
  std::vector<std::weak_ptr<MediaEngine::Listener>> real_;
  std::vector<std::weak_ptr<MediaEngine::Listener>> scripted_;
  std::vector<std::weak_ptr<testing::EngineScript>> scripts_;
  std::size_t madeReal_ = 0;
  std::size_t madeScripted_ = 0;
};

}  // namespace tavrin::load
