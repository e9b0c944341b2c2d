#pragma once

#include <cstddef>
#include <functional>
#include <memory>

namespace tavrin {

/// How many assets engines hold open ahead of their loads, in the whole process. Any thread.
///
/// An asset that is open ahead costs memory and threads, about as much as one that plays.
class OpenAhead {
 public:
  static constexpr std::size_t limitOfAnEngine = 2;
  static constexpr std::size_t limitOfTheProcess = 6;

  /// The host's switch, on at first. Off: engines let go of what is open ahead, and open no more.
  static void setAllowed(bool allowed);
  /// For a host that is told of memory pressure. While it lasts the same holds as for the switch.
  static void setUnderMemoryPressure(bool isUnderPressure);
};

/// One engine's share of what the process may hold open ahead. Any thread.
///
/// Every engine's likeliest asset comes before any engine's second, and the engine that said last
/// what it wants before the others. An engine that holds more than its share lets go of the least
/// likely.
class OpenAheadShare {
 public:
  /// `changed` is called on any thread when `limit` or what `take` returns may have changed. It
  /// must return at once, may not call the share, and may be called once more just after the
  /// share's end.
  explicit OpenAheadShare(std::function<void()> changed);
  /// Gives back what is held.
  ~OpenAheadShare();
  OpenAheadShare(const OpenAheadShare&) = delete;
  OpenAheadShare& operator=(const OpenAheadShare&) = delete;

  /// Says how many assets the engine would like to hold open, of which it gets two at most.
  void want(std::size_t count);
  /// How many it may hold.
  std::size_t limit() const;
  /// Takes the right to open one more. False at the limit, and while others still hold too many.
  bool take();
  /// Gives it back, once the asset has been let go.
  void giveBack();

 private:
  struct Entry;
  friend struct OpenAheadLedger;

  const std::shared_ptr<Entry> entry_;
};

}  // namespace tavrin
