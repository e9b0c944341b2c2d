#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <vector>

namespace tavrin {

/// What is held of a stream: one run of bytes around the reader's position, which the next bytes to
/// come continue. Offsets and lengths are in bytes. One thread at a time.
class StreamBuffer {
 public:
  /// As far ahead of the position are bytes wanted.
  static constexpr std::int64_t lookAhead = 4 << 20;
  /// Bytes held behind the position, for the small steps back that readers of containers take.
  static constexpr std::int64_t keptBehind = 1 << 20;

  std::int64_t position() const { return position_; }
  /// The offset of the next byte to come.
  std::int64_t end() const { return end_; }
  /// How many bytes lie ahead of the position. Negative while bytes before it are yet to come.
  std::int64_t ahead() const { return end_ - position_; }
  /// Whether the byte at `offset` is held, or is the next to come.
  bool covers(std::int64_t offset) const { return offset >= start_ && offset <= end_; }

  void moveTo(std::int64_t offset);
  /// Forgets what is held. The next byte to come is that at `offset`; the position stays.
  void restartAt(std::int64_t offset);
  /// Adds the next bytes. Those far behind the position are not kept.
  void append(std::span<const std::byte> bytes);
  /// Copies what is there from the position on, moves past it, and returns how many bytes it was.
  std::int64_t take(std::span<std::byte> room);

 private:
  // Answers come in pieces of any size: small ones share a block.
  static constexpr std::size_t blockBytes = 128UL * 1024;

  void dropPassed();

  std::deque<std::vector<std::byte>> blocks_;
  std::int64_t start_ = 0;  // of the first block
  std::int64_t end_ = 0;    // of the last block
  std::int64_t position_ = 0;
};

}  // namespace tavrin
