#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace tavrin {

/// The number in the `count` bytes at a place, at most 4. Bytes beyond the end count as 0.
inline std::uint32_t bigEndian(std::string_view bytes, std::size_t at, std::size_t count) {
  std::uint32_t number = 0;
  for (std::size_t i = at; i < at + count; ++i) {
    number = number << 8U | (i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0U);
  }
  return number;
}

/// The same with the lowest byte in front.
inline std::uint32_t littleEndian(std::string_view bytes, std::size_t at, std::size_t count) {
  std::uint32_t number = 0;
  for (std::size_t i = at + count; i-- > at;) {
    number = number << 8U | (i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0U);
  }
  return number;
}

}  // namespace tavrin
