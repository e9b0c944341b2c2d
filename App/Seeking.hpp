#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "Tavrin/Media/AVPlayer.hpp"

namespace tavrin::app {

/// Moves a player to where a person points. While one seek is under way only the newest wish is
/// kept, so that a drag never queues them; one that waits for its bytes gives way to that wish.
/// Main queue only.
class Seeking : public std::enable_shared_from_this<Seeking> {
 public:
  using Clock = std::chrono::steady_clock;

  /// `ended` is called each time the position has come to rest.
  static std::shared_ptr<Seeking> make(std::function<void()> ended);

  void to(double seconds, const std::shared_ptr<AVPlayer>& player, Clock::time_point now);
  /// Drops what is wanted: another item is current, or the position is somebody else's.
  void forget();
  /// In seconds, where the position is going; absent while it rests.
  std::optional<double> target() const { return wanted_; }
  /// Whether it goes there for longer than a seek takes that has its bytes.
  bool isWaiting(Clock::time_point now) const;
  /// Lets a seek that waits give way. Call it some ten times a second.
  void tick(Clock::time_point now);

 private:
  explicit Seeking(std::function<void()> ended) : ended_(std::move(ended)) {}

  void start(Clock::time_point now);
  void seekEnded(std::uint64_t serial);

  const std::function<void()> ended_;
  std::weak_ptr<AVPlayer> player_;
  std::optional<double> wanted_;
  bool isUnderWay_ = false;
  double sent_ = 0;           // seconds, of the seek that counts
  Clock::time_point start_;   // of the seek that counts
  std::uint64_t serial_ = 0;  // of the seek that counts
};

}  // namespace tavrin::app
