#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace tavrin::curl {

/// How much of a body its server may have under way on a slow link: what keeps the link busy. What
/// is more would only wait in line there, and cannot be taken back when another transfer needs the
/// link. A fast link is left to the system.
class ReceiveWindow {
 public:
  using Clock = std::chrono::steady_clock;

  /// The body begins, so long after its connection was asked for: two round trips at least. `known`
  /// is the window of an earlier transfer from the same server, if it had one.
  void begin(Clock::time_point now, std::chrono::microseconds delay,
             std::optional<std::int64_t> known);
  /// It goes on after a pause. What comes first has waited, and tells nothing of the rate.
  void goOn(Clock::time_point now);
  /// Bytes have come. True when the window is due to be set, changed or not.
  bool received(std::int64_t bytes, Clock::time_point now);
  /// In bytes. Absent while the rate is not known, and on a fast link.
  std::optional<std::int64_t> bytes() const;
  /// How many bytes are to be taken in while nobody reads them. Absent until no more than the
  /// window can be under way: what finds no room is lost, and has to come again.
  std::optional<std::int64_t> room() const;

 private:
  std::chrono::duration<double> time_{0};  // of the link, that the window holds
  std::optional<std::int64_t> known_;
  Clock::time_point countedFrom_;
  std::int64_t count_ = 0;  // of bytes since then
  bool isSettled_ = false;  // it has been as large for an interval
  double rate_ = 0;  // bytes a second: the highest yet, so that others on the link only slow it
};

}  // namespace tavrin::curl
