#include "Platform/Curl/ResponseHead.hpp"

#include <strings.h>

#include <charconv>
#include <string_view>

namespace tavrin::curl {

namespace {

// The last header of a name in the last answer, as curl itself takes it.
std::optional<std::string> header(CURL* handle, const char* name) {
  curl_header* found = nullptr;
  if (curl_easy_header(handle, name, 0, CURLH_HEADER, -1, &found) != CURLHE_OK) return {};
  const auto last = found->amount - 1;
  if (curl_easy_header(handle, name, last, CURLH_HEADER, -1, &found) != CURLHE_OK) return {};
  return found->value;
}

std::optional<std::string> mimeType(const std::optional<std::string>& contentType) {
  if (!contentType) return {};
  auto type = contentType->substr(0, contentType->find(';'));
  type.erase(type.find_last_not_of(" \t") + 1);
  return type.empty() ? std::nullopt : std::optional(type);
}

std::int64_t length(const std::optional<std::string>& text) {
  if (!text) return -1;
  std::int64_t value = -1;
  const auto* end = text->data() + text->size();
  const auto parsed = std::from_chars(text->data(), end, value);
  return parsed.ec == std::errc() && parsed.ptr == end && value >= 0 ? value : -1;
}

}  // namespace

ResponseHead ResponseHead::read(CURL* handle) {
  ResponseHead head;
  curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &head.status);
  head.response.mimeType = mimeType(header(handle, "Content-Type"));
  // A chunked body ends where its chunks say, whatever length stands beside them.
  if (!header(handle, "Transfer-Encoding")) {
    head.response.expectedContentLength = length(header(handle, "Content-Length"));
  }
  head.contentEncoding = header(handle, "Content-Encoding");
  if (head.contentEncoding && strcasecmp(head.contentEncoding->c_str(), "identity") == 0) {
    head.contentEncoding.reset();
  }
  return head;
}

std::optional<std::string> ResponseHead::objection() const {
  auto text = "HTTP status " + std::to_string(status);
  if (status == 206) return text + ": a part was sent, the whole was asked for";
  if (status < 200 || status >= 300) return text;
  if (contentEncoding) return "the body is encoded (" + *contentEncoding + "), against the request";
  return {};
}

}  // namespace tavrin::curl
