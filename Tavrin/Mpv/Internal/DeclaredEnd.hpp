#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace tavrin {

/// Where a file says that its bytes end: a body that is shorter was cut. Only MP4's and Matroska's
/// outermost parts tell it; their playing time tells nothing, for a part of it may be empty.
class DeclaredEnd {
 public:
  /// Takes in bytes of the file as they are read, in any order.
  void see(std::int64_t offset, std::span<const std::byte> bytes);
  /// Bytes from the start of the file; absent while nothing has told it.
  std::optional<std::int64_t> value() const { return end_; }

 private:
  void takeHeader();
  void takeBox();
  void takeElement();
  std::uint64_t number(std::size_t from, std::size_t count) const;

  // The next part's header: where it begins, and what has been seen of it.
  std::optional<std::int64_t> next_ = 0;
  std::array<std::byte, 16> header_{};
  std::size_t seen_ = 0;
  std::size_t needed_ = 8;
  std::optional<std::int64_t> end_;
};

}  // namespace tavrin
