#pragma once

#include <chrono>

namespace tavrin {

/// How long a load that has run out of bytes waits: until what has come lets it play on to its end
/// without another stall, at the rate at which bytes have come since. What is in stock is counted
/// in seconds of play. Times are in seconds.
struct StallWait {
  static constexpr double leastStock = 0.2;
  static constexpr double mostStock = 5;
  /// It goes on after this time, whatever has come.
  static constexpr double longest = 5;
  /// The rate is not known sooner.
  static constexpr double leastMeasured = 0.3;
  /// How soon to look again.
  static constexpr std::chrono::milliseconds pause{250};

  double waited = 0;
  double left = 0;       // of play, what is in stock included; 0 when it is not known
  double clipRate = 0;   // bytes a second of play; 0 when it is not known
  double bytesCome = 0;  // since the stall began

  /// What has to be in stock before the load goes on.
  double stock() const;
};

}  // namespace tavrin
