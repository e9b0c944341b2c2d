#include "Tavrin/Foundation/UUID.hpp"

#include <charconv>
#include <cstring>
#include <random>

namespace tavrin {

namespace {

constexpr bool isDashPosition(std::size_t i) { return i == 8 || i == 13 || i == 18 || i == 23; }

}  // namespace

UUID UUID::random() {
  std::random_device device;
  UUID id;
  for (std::size_t i = 0; i < id.bytes.size(); i += 4) {
    const std::uint32_t word = device();
    std::memcpy(id.bytes.data() + i, &word, sizeof word);
  }
  id.bytes[6] = static_cast<std::uint8_t>((id.bytes[6] & 0x0F) | 0x40);
  id.bytes[8] = static_cast<std::uint8_t>((id.bytes[8] & 0x3F) | 0x80);
  return id;
}

std::optional<UUID> UUID::parse(std::string_view text) {
  if (text.size() != 36) return std::nullopt;
  UUID id;
  std::size_t next = 0;
  for (std::size_t i = 0; i < text.size();) {
    if (isDashPosition(i)) {
      if (text[i++] != '-') return std::nullopt;
      continue;
    }
    const char* end = text.data() + i + 2;
    const auto read = std::from_chars(text.data() + i, end, id.bytes[next++], 16);
    if (read.ec != std::errc{} || read.ptr != end) return std::nullopt;
    i += 2;
  }
  return id;
}

std::string UUID::text() const {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string result;
  for (const auto byte : bytes) {
    if (isDashPosition(result.size())) result += '-';
    result += digits[byte >> 4];
    result += digits[byte & 15];
  }
  return result;
}

}  // namespace tavrin
