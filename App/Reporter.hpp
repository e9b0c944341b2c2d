#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "App/WorkoutPlayer.hpp"

namespace tavrin::app {

/// What a run came to.
struct Totals {
  std::int64_t shown = 0;
  std::int64_t downloaded = 0;
  std::int64_t fromDisk = 0;
  std::int64_t failed = 0;

  static Totals of(const WorkoutPlayer& player);
  /// "6 items shown, 4 downloaded, 0 from disk, 0 failed"
  std::string text() const;
};

/// Tells a player's changes of state as lines of text: seconds since the start, what changed, and
/// what it is now. Main queue only.
class Reporter {
 public:
  /// `player` must outlive the reporter.
  Reporter(const WorkoutPlayer& player, const Trace& clock,
           std::function<void(const std::string&)> write)
      : player_(player), clock_(clock), write_(std::move(write)) {}

  /// Tells what has changed since the last call.
  void update();
  void tell(const std::string& what, const std::string& value) const;

 private:
  void set(const std::string& what, const std::string& value);

  const WorkoutPlayer& player_;
  const Trace& clock_;
  const std::function<void(const std::string&)> write_;
  std::map<std::string, std::string> told_;
};

}  // namespace tavrin::app
