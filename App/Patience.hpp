#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace tavrin::app {

/// Finds out that an item no longer gets on. One thread.
class Patience {
 public:
  using Clock = std::chrono::steady_clock;

  /// What moves while an item gets on.
  struct Signs {
    double seconds = 0;         // of its play
    std::int64_t received = 0;  // bytes of its download
  };

  explicit Patience(std::chrono::milliseconds limit) : limit_(limit) {}

  void restart(Clock::time_point now) { since_ = now; }
  /// Takes in how the item gets on. Returns whether its play has moved.
  bool update(const Signs& signs, Clock::time_point now);
  /// Whether nothing has moved for as long as the limit.
  bool isOver(Clock::time_point now) const { return now - since_ >= limit_; }
  /// The limit, for a person: "15 s".
  std::string text() const;

 private:
  const std::chrono::milliseconds limit_;
  Clock::time_point since_;
  Signs last_;
};

}  // namespace tavrin::app
