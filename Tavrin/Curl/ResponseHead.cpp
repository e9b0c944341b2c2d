#include "Tavrin/Curl/ResponseHead.hpp"

#include <strings.h>

#include <algorithm>
#include <charconv>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "Tavrin/Curl/PartAnswer.hpp"
#include "Tavrin/Curl/TransferError.hpp"

namespace tavrin::curl {

namespace {

std::string trimmed(std::string_view text) {
  constexpr std::string_view space = " \t\r\n";
  const auto from = text.find_first_not_of(space);
  if (from == std::string_view::npos) return {};
  return std::string(text.substr(from, text.find_last_not_of(space) - from + 1));
}

// The headers of a name in the last answer, in their order.
std::vector<std::string> headers(CURL* handle, const char* name) {
  std::vector<std::string> values;
  curl_header* found = nullptr;
  while (curl_easy_header(handle, name, values.size(), CURLH_HEADER, -1, &found) == CURLHE_OK) {
    values.push_back(trimmed(found->value));
  }
  return values;
}

std::optional<std::string> mimeType(const std::vector<std::string>& contentTypes) {
  if (contentTypes.empty()) return {};
  const auto& last = contentTypes.back();
  const auto type = trimmed(std::string_view(last).substr(0, last.find(';')));
  return type.empty() ? std::nullopt : std::optional(type);
}

// The first of the codings in lists that is neither nothing nor `plain`.
std::optional<std::string> otherCoding(const std::vector<std::string>& lists, const char* plain) {
  for (std::string_view list : lists) {
    while (!list.empty()) {
      const auto coding = trimmed(list.substr(0, list.find(',')));
      list.remove_prefix(std::min(list.find(','), list.size() - 1) + 1);
      const bool isPlain =
          strcasecmp(coding.c_str(), "identity") == 0 || strcasecmp(coding.c_str(), plain) == 0;
      if (!coding.empty() && !isPlain) return coding;
    }
  }
  return {};
}

// A number too large for its type is the largest. Absent for what is no number.
std::optional<std::int64_t> length(const std::string& text) {
  std::int64_t value = 0;
  const auto* end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, value);
  if (text.empty() || text[0] == '-' || parsed.ptr != end) return {};
  if (parsed.ec == std::errc::result_out_of_range) return std::numeric_limits<std::int64_t>::max();
  return parsed.ec == std::errc() ? std::optional(value) : std::nullopt;
}

std::optional<Error> readLength(const std::vector<std::string>& lengths,
                                const TransferLimits& limits, std::int64_t& expected) {
  for (const auto& text : lengths) {
    const auto value = length(text);
    if (!value) return Error{ErrorCode::badAnswer, "the declared length is malformed"};
    if (&text != &lengths.front() && *value != expected) {
      return Error{ErrorCode::badAnswer, "the answer declares two lengths"};
    }
    expected = *value;
  }
  if (expected > limits.mostBodyBytes) return tooLargeError(limits.mostBodyBytes);
  return {};
}

std::optional<Error> refusal(long status, const URLRequest& asked) {
  if (status == 206 && !asked.firstByte) {
    return Error{ErrorCode::badAnswer, "HTTP status 206: a part was sent, the whole was asked for"};
  }
  if (status < 200 || status >= 300) return statusError(status);
  return {};
}

std::optional<Error> coded(const std::optional<std::string>& coding) {
  if (!coding) return {};
  return Error{ErrorCode::notAccepted,
               "the body is encoded (" + *coding + "), against the request"};
}

}  // namespace

long ResponseHead::readStatus(CURL* handle) {
  long status = 0;
  curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
  return status;
}

ResponseHead ResponseHead::read(CURL* handle, const URLRequest& asked,
                                const TransferLimits& limits) {
  ResponseHead head{.status = readStatus(handle), .response = {}, .objection = {}};
  head.response.mimeType = mimeType(headers(handle, "Content-Type"));
  const auto transferCodings = headers(handle, "Transfer-Encoding");
  head.objection = refusal(head.status, asked);
  if (!head.objection) head.objection = coded(otherCoding(transferCodings, "chunked"));
  if (!head.objection) {
    head.objection = coded(otherCoding(headers(handle, "Content-Encoding"), "identity"));
  }
  // A chunked body ends where its chunks say, whatever length stands beside them.
  if (!head.objection && transferCodings.empty()) {
    head.objection =
        readLength(headers(handle, "Content-Length"), limits, head.response.expectedContentLength);
  }
  if (!head.objection && head.status == 206) {
    head.objection = readPart(headers(handle, "Content-Range"), *asked.firstByte, head.response);
  }
  head.response.validator = validator(headers(handle, "ETag"), headers(handle, "Last-Modified"));
  return head;
}

}  // namespace tavrin::curl
