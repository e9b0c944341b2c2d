#include "Tavrin/Curl/PartAnswer.hpp"

#include <strings.h>

#include <charconv>
#include <string_view>

namespace tavrin::curl {

namespace {

constexpr std::string_view unit = "bytes ";

// Takes a number, and the character behind it, from the front of the text. The last number has 0
// behind it.
std::optional<std::int64_t> takeNumber(std::string_view& text, char behind) {
  std::int64_t value = -1;
  const auto* end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, value);
  if (parsed.ec != std::errc() || value < 0) return {};
  text.remove_prefix(static_cast<std::size_t>(parsed.ptr - text.data()));
  if (behind == 0) return text.empty() ? std::optional(value) : std::nullopt;
  if (!text.starts_with(behind)) return {};
  text.remove_prefix(1);
  return value;
}

// "bytes 0-99/1000", or with "*" for a total that is not known.
std::optional<URLResponse::Part> parsePart(std::string_view text) {
  if (text.size() < unit.size() || strncasecmp(text.data(), unit.data(), unit.size()) != 0) {
    return {};
  }
  text.remove_prefix(unit.size());
  const auto first = takeNumber(text, '-');
  const auto last = first ? takeNumber(text, '/') : std::nullopt;
  if (!last || *last < *first) return {};
  URLResponse::Part part{*first, *last - *first + 1, -1};
  if (text == "*") return part;
  const auto total = takeNumber(text, 0);
  if (!total || *last >= *total) return {};
  part.total = *total;
  return part;
}

}  // namespace

std::vector<std::string> partHeaders(const URLRequest& request) {
  if (!request.firstByte) return {};
  std::vector<std::string> lines{"Range: bytes=" + std::to_string(*request.firstByte) + "-"};
  if (request.validator) lines.push_back("If-Range: " + *request.validator);
  return lines;
}

std::optional<Error> readPart(const std::vector<std::string>& ranges, std::int64_t firstByte,
                              URLResponse& response) {
  const auto part = ranges.size() == 1 ? parsePart(ranges.front()) : std::nullopt;
  if (!part) return Error{ErrorCode::badAnswer, "HTTP status 206 without a range of bytes"};
  if (part->offset != firstByte) {
    return Error{ErrorCode::badAnswer, "another part was sent than was asked for"};
  }
  const auto length = response.expectedContentLength;
  if (length >= 0 && length != part->length) {
    return Error{ErrorCode::badAnswer, "the part has another length than its range"};
  }
  response.part = part;
  return {};
}

std::optional<std::string> validator(const std::vector<std::string>& tags,
                                     const std::vector<std::string>& dates) {
  if (tags.size() == 1 && tags.front().starts_with('"')) return tags.front();
  return dates.size() == 1 && !dates.front().empty() ? std::optional(dates.front()) : std::nullopt;
}

}  // namespace tavrin::curl
