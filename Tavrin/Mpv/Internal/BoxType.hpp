#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace tavrin {

/// The number that the four letters of an MP4 box stand for.
constexpr std::uint64_t boxType(std::string_view name) {
  std::uint64_t type = 0;
  for (const char letter : name) type = type << 8 | static_cast<unsigned char>(letter);
  return type;
}

/// No part of a file reaches further; a number of bytes beyond it is no length.
constexpr std::uint64_t furthestByte = std::uint64_t{1} << 60;

constexpr std::size_t boxHeaderSize = 8;       // bytes: size and type
constexpr std::size_t longBoxHeaderSize = 16;  // the size is 1, and follows in eight bytes

}  // namespace tavrin
