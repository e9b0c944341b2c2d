#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace tavrin {

/// The header of one part of a file, gathered from the file's bytes as they are read, in any order.
class PartHeader {
 public:
  static constexpr std::size_t limit = 16;  // bytes

  /// Waits for so many bytes from an offset. Those that have been seen of the same header count.
  void await(std::int64_t offset, std::size_t size);
  /// Takes in bytes. Returns whether the header is complete; nothing is awaited then.
  bool see(std::int64_t offset, std::span<const std::byte> bytes);

  std::int64_t offset() const { return offset_; }
  std::size_t size() const { return needed_; }
  /// The number that some of its bytes stand for, the highest first.
  std::uint64_t number(std::size_t from, std::size_t count) const;

 private:
  std::array<std::byte, limit> bytes_{};
  std::int64_t offset_ = 0;
  std::size_t seen_ = 0;
  std::size_t needed_ = 0;
  bool isAwaited_ = false;
};

}  // namespace tavrin
