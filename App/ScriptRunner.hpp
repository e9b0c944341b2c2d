#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include "App/Script.hpp"
#include "App/WorkoutPlayer.hpp"

namespace tavrin::app {

/// The script of a run without one: each item in order, a video for one round, an image for two
/// seconds.
Script tourOf(const WorkoutPlayer& player);

/// Carries out a script on a player. Main queue only. It never waits longer than the player's
/// patience for something that does not come.
class ScriptRunner {
 public:
  using Clock = WorkoutPlayer::Clock;
  using TakeSnapshot = std::function<void(const std::string& path)>;

  /// `player` must outlive the runner.
  ScriptRunner(Script script, WorkoutPlayer& player, TakeSnapshot takeSnapshot)
      : script_(std::move(script)), player_(player), takeSnapshot_(std::move(takeSnapshot)) {}

  /// Carries out the commands up to the next one that has to wait.
  void tick(Clock::time_point now);
  /// Whether every command has been carried out.
  bool isDone() const { return next_ == script_.size(); }
  bool hasQuit() const { return hasQuit_; }

 private:
  bool isOver(const ScriptCommand& wait, Clock::time_point now);
  bool isEnded() const;
  bool isStored(Clock::time_point now);
  bool carryOut(const ScriptCommand& command, Clock::time_point now);

  const Script script_;
  WorkoutPlayer& player_;
  const TakeSnapshot takeSnapshot_;
  std::size_t next_ = 0;
  std::optional<Clock::time_point> waitingSince_;
  std::int64_t storedBefore_ = 0;
  bool hasQuit_ = false;
};

}  // namespace tavrin::app
