#include "Tavrin/Foundation/PrintableText.hpp"

#include <array>
#include <cstdio>

namespace tavrin {

namespace {

struct Character {
  char32_t code;
  std::size_t length;  // bytes; 0 for one that is no UTF-8
};

// The character that the text begins with; the text is not empty.
Character firstOf(std::string_view text) {
  const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const auto lead = byte(0);
  if (lead < 0x80) return {lead, 1};
  const std::size_t length = lead < 0xC0   ? 0
                             : lead < 0xE0 ? 2
                             : lead < 0xF0 ? 3
                             : lead < 0xF8 ? 4
                                           : 0;
  if (length == 0 || text.size() < length) return {lead, 0};
  char32_t code = lead & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0U) != 0x80) return {lead, 0};
    code = code << 6U | (byte(i) & 0x3FU);
  }
  constexpr std::array<char32_t, 5> least = {0, 0, 0x80, 0x800, 0x10000};
  const bool isSurrogate = code >= 0xD800 && code <= 0xDFFF;
  if (code < least.at(length) || code > 0x10FFFF || isSurrogate) return {lead, 0};
  return {code, length};
}

bool isControl(char32_t code) {
  const auto isIn = [code](char32_t first, char32_t last) { return code >= first && code <= last; };
  return code < 0x20 || isIn(0x7F, 0x9F) ||             // of ASCII and Latin 1
         code == 0x61C || isIn(0x200E, 0x200F) ||       // marks of direction
         isIn(0x2028, 0x202E) || isIn(0x2066, 0x2069);  // line breaks, changes of direction
}

std::string escaped(const char* format, char32_t code) {
  char text[16];
  static_cast<void>(std::snprintf(text, sizeof text, format, static_cast<unsigned>(code)));
  return text;
}

}  // namespace

std::string printable(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const auto [code, length] = firstOf(text);
    if (length == 0) {
      result += escaped("\\x%02x", code);
    } else if (isControl(code)) {
      result += escaped(code < 0x80 ? "\\x%02x" : "\\u%04x", code);
    } else {
      result += text.substr(0, length);
    }
    text.remove_prefix(length == 0 ? 1 : length);
  }
  return result;
}

}  // namespace tavrin
