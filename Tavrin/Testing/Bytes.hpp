#pragma once

#include <cstdint>
#include <string>

namespace tavrin::testing {

/// A part of the made-up body that all tests share, from one offset to another. No two windows of
/// it look alike.
inline std::string bodyPart(std::int64_t from, std::int64_t to) {
  std::string bytes;
  bytes.reserve(static_cast<std::size_t>(to - from));
  for (auto at = from; at < to; ++at) {
    bytes.push_back(static_cast<char>((at * 31 + (at >> 8) * 7 + (at >> 16)) & 0xFF));
  }
  return bytes;
}
inline std::string makeBody(std::int64_t length) { return bodyPart(0, length); }

}  // namespace tavrin::testing
