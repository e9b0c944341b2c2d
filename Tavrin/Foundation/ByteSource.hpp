#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "Tavrin/Foundation/Error.hpp"

namespace tavrin {

/// Bytes that lie elsewhere, in a file for example, and are read when somebody asks for them. Any
/// thread.
class ByteSource {
 public:
  virtual ~ByteSource() = default;
  /// Fills `room` with the bytes from `offset` on, all of which must lie inside the source. May
  /// wait for a disk. Returns why it could not; then what is in `room` means nothing.
  virtual std::optional<Error> read(std::int64_t offset, std::span<std::byte> room) const = 0;
};

}  // namespace tavrin
