#include "App/ByteRange.hpp"

#include <algorithm>
#include <charconv>

namespace tavrin::app {

namespace {

std::optional<std::int64_t> number(std::string_view text) {
  std::int64_t value = 0;
  const auto* end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, value);
  if (read.ec != std::errc{} || read.ptr != end || value < 0) return std::nullopt;
  return value;
}

}  // namespace

std::string ByteRange::header(std::int64_t size) const {
  return "bytes " + std::to_string(offset) + "-" + std::to_string(offset + length - 1) + "/" +
         std::to_string(size);
}

std::optional<ByteRange> parseByteRange(std::string_view header, std::int64_t size) {
  constexpr std::string_view unit = "bytes=";
  const auto dash = header.find('-');
  if (!header.starts_with(unit) || dash == header.npos) return ByteRange::whole(size);
  const auto firstText = header.substr(unit.size(), dash - unit.size());
  const auto lastText = header.substr(dash + 1);
  const auto first = number(firstText);
  const auto last = number(lastText);
  if ((!first && !firstText.empty()) || (!last && !lastText.empty()) || (!first && !last) ||
      (first && last && *last < *first)) {
    return ByteRange::whole(size);
  }
  if (!first) {  // the last bytes
    const auto length = std::min(*last, size);
    if (length == 0) return std::nullopt;
    return ByteRange{size - length, length, true};
  }
  if (*first >= size) return std::nullopt;
  return ByteRange{*first, std::min(last.value_or(size - 1), size - 1) - *first + 1, true};
}

}  // namespace tavrin::app
