#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <variant>

#include "Platform/Foundation/Data.hpp"
#include "Platform/Foundation/Error.hpp"
#include "Platform/Foundation/Mutex.hpp"
#include "Platform/Foundation/URLSession.hpp"

namespace tavrin::curl {

/// What a transfer has received and its delegate has yet to hear, in order and bounded.
///
/// One thread puts and one taker takes, from any thread at a time. The taker sleeps when there is
/// nothing to take; whoever puts is told when to wake it.
class Inbox {
 public:
  struct End {
    std::optional<Error> error;
  };
  using Event = std::variant<URLResponse, Data, End>;

  explicit Inbox(std::int64_t capacityBytes) : capacityBytes_(capacityBytes) {}

  /// Whether the taker must be woken.
  bool put(Event event);
  /// As above; absent, and nothing is taken in, when there is no room.
  std::optional<bool> put(std::span<const std::byte> bytes);

  /// The next event, in the taker's hands until `finish()`. Absent when there is none, and the
  /// taker sleeps.
  std::optional<Event> take();
  struct Rest {
    bool hasMore;       // without more, the taker sleeps
    bool wantsRefused;  // bytes that were refused have room now
  };
  /// The taken event has been dealt with, and its memory is free.
  Rest finish();

  /// Forgets everything, and all that comes later.
  void drop();

 private:
  bool wake() TAVRIN_REQUIRES(mutex_);

  const std::int64_t capacityBytes_;
  Mutex mutex_;
  std::deque<Event> events_ TAVRIN_GUARDED_BY(mutex_);
  std::int64_t queuedBytes_ TAVRIN_GUARDED_BY(mutex_) = 0;  // those in the taker's hands included
  std::int64_t takenBytes_ TAVRIN_GUARDED_BY(mutex_) = 0;
  bool isAwake_ TAVRIN_GUARDED_BY(mutex_) = false;
  bool hasRefused_ TAVRIN_GUARDED_BY(mutex_) = false;
  bool isDropped_ TAVRIN_GUARDED_BY(mutex_) = false;
};

}  // namespace tavrin::curl
