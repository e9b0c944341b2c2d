#include "Tavrin/Foundation/URL.hpp"

#include <algorithm>
#include <charconv>
#include <utility>

namespace tavrin {

namespace {

bool isAlpha(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isScheme(std::string_view text) {
  return !text.empty() && isAlpha(text.front()) && std::ranges::all_of(text, [](char c) {
    return isAlpha(c) || isDigit(c) || c == '+' || c == '-' || c == '.';
  });
}

bool mayStandInAddress(char c) { return static_cast<unsigned char>(c) > 0x20 && c != 0x7F; }

bool mayStandInComponent(char c) {
  return isAlpha(c) || isDigit(c) ||
         std::string_view("-._~!$&'()*+,;=:@").find(c) != std::string_view::npos;
}

// The five parts of RFC 3986's appendix B, as views of the text. The scheme is unchecked.
struct Parts {
  std::optional<std::string_view> scheme;
  std::optional<std::string_view> authority;
  std::string_view path;
  std::optional<std::string_view> query;
  std::optional<std::string_view> fragment;
};

std::optional<std::string_view> cutFrom(std::string_view& text, char mark) {
  const auto at = text.find(mark);
  if (at == std::string_view::npos) return std::nullopt;
  const auto tail = text.substr(at + 1);
  text = text.substr(0, at);
  return tail;
}

Parts split(std::string_view text) {
  Parts parts;
  parts.fragment = cutFrom(text, '#');
  parts.query = cutFrom(text, '?');
  const auto colon = text.find_first_of(":/");
  if (colon != std::string_view::npos && colon > 0 && text[colon] == ':') {
    parts.scheme = text.substr(0, colon);
    text.remove_prefix(colon + 1);
  }
  if (text.starts_with("//")) {
    text.remove_prefix(2);
    const auto slash = std::min(text.find('/'), text.size());
    parts.authority = text.substr(0, slash);
    text.remove_prefix(slash);
  }
  parts.path = text;
  return parts;
}

std::optional<std::string> owned(std::optional<std::string_view> text) {
  return text ? std::optional<std::string>(*text) : std::nullopt;
}

}  // namespace

std::optional<URL> URL::parse(std::string_view text) {
  if (text.empty() || !std::ranges::all_of(text, mayStandInAddress)) return std::nullopt;
  return URL(std::string(text));
}

URL URL::file(std::string_view path) {
  std::string text = "file://";
  for (const char c : path) text += c == '/' ? "/" : percentEncode({&c, 1});
  return URL(std::move(text));
}

std::optional<std::string> URL::scheme() const {
  const auto found = split(text_).scheme;
  return found && isScheme(*found) ? owned(found) : std::nullopt;
}

bool URL::isHTTP() const {
  auto name = scheme().value_or("");
  std::ranges::transform(name, name.begin(),
                         [](char c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; });
  return name == "http" || name == "https";
}

std::optional<std::string> URL::authority() const { return owned(split(text_).authority); }

std::string URL::path() const { return percentDecode(split(text_).path); }

std::string URL::lastPathComponent() const {
  auto rest = split(text_).path;
  const auto last = rest.find_last_not_of('/');
  if (last == std::string_view::npos) return rest.empty() ? "" : "/";
  rest = rest.substr(0, last + 1);
  return percentDecode(rest.substr(rest.find_last_of('/') + 1));
}

URL URL::appendingPathComponent(std::string_view component) const {
  auto end = text_.find_first_of("?#");
  std::string text = text_.substr(0, end);
  if (!text.ends_with('/')) text += '/';
  return URL(text + percentEncode(component));
}

std::string URL::percentEncode(std::string_view component) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : component) {
    const auto byte = static_cast<unsigned char>(c);
    if (mayStandInComponent(c)) {
      encoded += c;
    } else {
      encoded += {'%', digits[byte >> 4], digits[byte & 15]};
    }
  }
  return encoded;
}

std::string URL::percentDecode(std::string_view text) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    unsigned char byte = 0;
    const char* end = text.data() + i + 3;
    if (text[i] == '%' && i + 2 < text.size() &&
        std::from_chars(end - 2, end, byte, 16).ptr == end) {
      decoded += static_cast<char>(byte);
      i += 2;
    } else {
      decoded += text[i];
    }
  }
  return decoded;
}

std::optional<URLComponents> URLComponents::split(const URL& url) {
  const auto parts = tavrin::split(url.absoluteString());
  if (parts.scheme && !isScheme(*parts.scheme)) return std::nullopt;
  return URLComponents{owned(parts.scheme), owned(parts.authority), std::string(parts.path),
                       owned(parts.query), owned(parts.fragment)};
}

std::optional<URL> URLComponents::url() const {
  if (scheme && !isScheme(*scheme)) return std::nullopt;
  if (authority && !path.empty() && !path.starts_with('/')) return std::nullopt;
  std::string text;
  if (scheme) text += *scheme + ":";
  if (authority) text += "//" + *authority;
  text += path;
  if (query) text += "?" + *query;
  if (fragment) text += "#" + *fragment;
  return URL::parse(text);
}

}  // namespace tavrin
