#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "Tavrin/Foundation/Data.hpp"

namespace tavrin {

/// What a reader holds of a resource and what it has asked for: one run of bytes around its
/// position, asked for in windows that neither overlap nor leave gaps. Offsets and lengths are in
/// bytes. One thread at a time.
class ByteWindows {
 public:
  struct Window {
    std::int64_t offset = 0;
    std::int64_t length = 0;

    std::int64_t end() const { return offset + length; }
  };

  static constexpr std::int64_t windowLength = 2 << 20;

  std::int64_t position() const { return position_; }
  /// Whether every byte from `offset` to the end of the run is held or will be received.
  bool covers(std::int64_t offset) const { return offset >= start_ && offset <= end_; }
  /// Moves within the run. `offset` must be covered.
  void moveTo(std::int64_t offset) { position_ = offset; }
  /// Forgets everything and starts a new run.
  void restartAt(std::int64_t offset);

  /// The next window to ask for, so that a whole one stays ahead of the position; none of it lies
  /// at `limit` or beyond. Absent when enough has been asked for.
  std::optional<Window> next(std::int64_t limit);
  /// Takes an answer to a window. What lies past the window is passed over.
  void receive(const Window& window, std::int64_t offset, Data bytes);
  /// A part of an answer.
  struct Piece {
    Data bytes;
    std::int64_t offset = 0;  // in `bytes`
    std::int64_t length = 0;
  };
  /// What is there from the position on, `most` bytes at most, in order. Moves past it.
  std::vector<Piece> take(std::int64_t most);

 private:
  struct Chunk {
    Data bytes;
    std::int64_t end = 0;  // offset past the last byte of use
  };

  void dropConsumed();

  std::map<std::int64_t, Chunk> chunks_;  // by offset
  // Everything from `start_` up to `end_` is in a chunk or has yet to be received.
  std::int64_t start_ = 0;
  std::int64_t end_ = 0;
  std::int64_t position_ = 0;
};

}  // namespace tavrin
