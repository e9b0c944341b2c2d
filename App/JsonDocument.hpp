#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <utility>
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

/// A parsed JSON text that can tell where each of its values stands.
class JsonDocument {
 public:
  // More of either is an error. They bound the memory that a file can take, some 100 bytes a value.
  static constexpr std::size_t depthLimit = 64;
  static constexpr std::size_t valueLimit = 250'000;

  static std::variant<JsonDocument, TextError> parse(std::string_view text);

  const nlohmann::json& root() const { return root_; }
  /// Where the value begins that a path such as "/media/2/url" leads to; for a path that leads to
  /// nothing, the value around it. Reads the text again.
  TextPlace place(std::string_view path) const;

 private:
  JsonDocument(nlohmann::json root, std::string text)
      : root_(std::move(root)), text_(std::move(text)) {}

  nlohmann::json root_;
  std::string text_;
};

}  // namespace tavrin::app
