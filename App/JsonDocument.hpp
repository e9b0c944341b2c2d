#pragma once

#include <cstddef>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <variant>

namespace tavrin::app {

/// A place in a text, both counted from 1; columns count characters.
struct TextPlace {
  int line = 1;
  int column = 1;

  bool operator==(const TextPlace&) const = default;
};

/// Where a byte of the text is.
TextPlace placeOf(std::string_view text, std::size_t offset);

/// What is wrong with a text, and where.
struct TextError {
  std::string message;
  TextPlace place;

  /// "line 3, column 7: message"
  std::string text() const;
};

/// A parsed JSON text that knows where each of its values stands.
class JsonDocument {
 public:
  static std::variant<JsonDocument, TextError> parse(std::string_view text);

  const nlohmann::json& root() const { return root_; }
  /// Where the value begins that a path such as "/media/2/url" leads to; for a path that leads to
  /// nothing, the value around it.
  TextPlace place(std::string path) const;

 private:
  nlohmann::json root_;
  std::string text_;
  std::map<std::string, std::size_t> offsets_;  // by path
};

}  // namespace tavrin::app
