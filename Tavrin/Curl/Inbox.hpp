#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <variant>
#include <vector>

#include "Tavrin/Curl/TransferLimits.hpp"
#include "Tavrin/Foundation/Data.hpp"
#include "Tavrin/Foundation/Error.hpp"
#include "Tavrin/Foundation/Mutex.hpp"
#include "Tavrin/Foundation/URLSession.hpp"

namespace tavrin::curl {

/// What a transfer has received and its delegate has yet to hear, in order and bounded.
///
/// One thread puts and one taker takes, from any thread at a time. The taker sleeps when there is
/// nothing to take; whoever puts is told when to wake it, and when to pause.
class Inbox {
 public:
  struct End {
    std::optional<Error> error;
  };
  using Event = std::variant<URLResponse, Data, End>;

  /// The capacity grows from the least to the most bytes while the taker keeps up, and falls back
  /// when it does not.
  explicit Inbox(const TransferLimits& limits)
      : limits_(limits), capacityBytes_(limits.queuedBytes) {}

  /// Whether the taker must be woken.
  bool put(Event event);
  struct Put {
    bool mustWake;  // as above
    bool isFull;    // no more should come until `finish()` wants it
  };
  /// Takes the bytes in, however full it is.
  Put put(std::span<const std::byte> bytes);

  /// The next event, valid until `finish()`. Null when there is none, and the taker sleeps.
  const Event* take();
  struct Rest {
    bool hasMore;    // without more, the taker sleeps
    bool wantsMore;  // it was full, and has room again
  };
  /// The taken event has been dealt with.
  Rest finish();

  /// Forgets everything, and all that comes later.
  void drop();

 private:
  Data& addChunk() TAVRIN_REQUIRES(mutex_);
  bool wake() TAVRIN_REQUIRES(mutex_);
  void adaptCapacity() TAVRIN_REQUIRES(mutex_);

  using Clock = std::chrono::steady_clock;

  const TransferLimits limits_;
  Mutex mutex_;
  std::int64_t capacityBytes_ TAVRIN_GUARDED_BY(mutex_);
  std::deque<Event> events_ TAVRIN_GUARDED_BY(mutex_);
  std::optional<Event> taken_ TAVRIN_GUARDED_BY(mutex_);  // its content is the taker's alone
  // Chunks that have been heard: allocating anew would have the system clear their pages again.
  std::vector<Data> spares_ TAVRIN_GUARDED_BY(mutex_);
  std::int64_t queuedBytes_ TAVRIN_GUARDED_BY(mutex_) = 0;  // the taken included
  bool isAwake_ TAVRIN_GUARDED_BY(mutex_) = false;
  std::optional<Clock::time_point> fullSince_ TAVRIN_GUARDED_BY(mutex_);  // until it has room again
  bool isDropped_ TAVRIN_GUARDED_BY(mutex_) = false;
};

}  // namespace tavrin::curl
