#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "Tavrin/Mpv/Internal/PartHeader.hpp"

namespace tavrin {

/// Where a file says that its bytes end: a body that is shorter was cut. Only MP4's and Matroska's
/// outermost parts tell it; their playing time tells nothing, for a part of it may be empty.
class DeclaredEnd {
 public:
  DeclaredEnd();
  /// Takes in bytes of the file as they are read, in any order.
  void see(std::int64_t offset, std::span<const std::byte> bytes);
  /// Bytes from the start of the file; absent while nothing has told it.
  std::optional<std::int64_t> value() const { return end_; }

 private:
  void takeHeader();
  void takeBox();
  void takeElement();
  void next(std::int64_t offset);

  PartHeader header_;
  std::optional<std::int64_t> end_;
};

}  // namespace tavrin
