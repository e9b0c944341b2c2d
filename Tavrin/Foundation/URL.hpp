#pragma once

#include <compare>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tavrin {

/// An address, kept byte for byte as it was written.
///
/// Only its structure is read (RFC 3986, appendix B): brackets, pipes and raw non-ASCII text, which
/// real addresses hold, pass through untouched. Two addresses are equal when their texts are.
class URL {
 public:
  /// Absent for empty text and for text that holds a space or a control character.
  static std::optional<URL> parse(std::string_view text);
  /// The file URL of a path, percent-encoded where needed.
  static URL file(std::string_view path);

  const std::string& absoluteString() const { return text_; }
  /// Absent when the address is relative or its scheme is malformed.
  std::optional<std::string> scheme() const;
  /// The part between "//" and the path, absent when there is none.
  std::optional<std::string> authority() const;
  /// The path, percent-decoded, without query and fragment. For a file URL, the file-system path.
  std::string path() const;
  /// The last component of the path, percent-decoded; a trailing slash is ignored. "/" for the
  /// root, empty for an address without a path. Decoding can yield any byte, "/" and NUL included.
  std::string lastPathComponent() const;
  /// The address with a component, percent-encoded, added to its path; query and fragment go.
  URL appendingPathComponent(std::string_view component) const;
  /// The address itself: every address of this class stands alone, without a base.
  const URL& absoluteURL() const { return *this; }
  bool isFileURL() const { return scheme() == "file"; }
  /// Whether the scheme is http or https, whatever its case.
  bool isHTTP() const;

  /// Encodes every byte that may not stand as it is in one component of a path.
  static std::string percentEncode(std::string_view component);
  /// Decodes "%XX"; a malformed sequence stays as it is.
  static std::string percentDecode(std::string_view text);

  auto operator<=>(const URL&) const = default;

 private:
  explicit URL(std::string text) : text_(std::move(text)) {}

  std::string text_;
};

/// An address split into its components, for taking it apart and putting it together again.
struct URLComponents {
  std::optional<std::string> scheme;
  std::optional<std::string> authority;
  std::string path;                     // encoded, as written
  std::optional<std::string> query;     // without "?"
  std::optional<std::string> fragment;  // without "#"

  /// Absent when what stands before the first colon is not a scheme.
  static std::optional<URLComponents> split(const URL& url);
  /// The components as one address, absent when they do not form one.
  std::optional<URL> url() const;
};

}  // namespace tavrin

template <>
struct std::hash<tavrin::URL> {
  std::size_t operator()(const tavrin::URL& url) const noexcept {
    return std::hash<std::string>{}(url.absoluteString());
  }
};
