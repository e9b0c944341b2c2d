#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tavrin::app {

/// The bytes of a file that a request asks for.
struct ByteRange {
  std::int64_t offset = 0;
  std::int64_t length = 0;
  /// Whether the answer is a part; otherwise it is the whole file.
  bool isPart = false;

  static ByteRange whole(std::int64_t size) { return {0, size, false}; }
  /// The value of the header that tells which part of the file follows.
  std::string header(std::int64_t size) const;

  bool operator==(const ByteRange&) const = default;
};

/// Reads a Range header against a file of `size` bytes. What is no single range of bytes asks for
/// the whole file; absent when the range lies outside of it.
std::optional<ByteRange> parseByteRange(std::string_view header, std::int64_t size);

}  // namespace tavrin::app
