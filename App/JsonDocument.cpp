#include "App/JsonDocument.hpp"

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>
#include <vector>

namespace tavrin::app {

namespace {

using nlohmann::json;

// Tells the parser's callback how far the parser has read.
class CountingIterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  CountingIterator(const char* at, const char** reached) : at_(at), reached_(reached) {}
  reference operator*() const { return *at_; }
  CountingIterator& operator++() {
    *reached_ = ++at_;
    return *this;
  }
  CountingIterator operator++(int) {
    auto before = *this;
    ++*this;
    return before;
  }
  bool operator==(const CountingIterator& other) const { return at_ == other.at_; }

 private:
  const char* at_;
  const char** reached_;
};

// Follows the parser through the text and notes where the values begin.
class PlaceKeeper {
 public:
  PlaceKeeper(std::string_view text, std::map<std::string, std::size_t>& offsets)
      : text_(text), reached_(text.data()), offsets_(offsets) {}

  CountingIterator begin() { return {text_.data(), &reached_}; }
  CountingIterator end() { return {text_.data() + text_.size(), &reached_}; }
  const std::optional<std::size_t>& repeatedKey() const { return repeatedKey_; }

  void note(json::parse_event_t event, const json& parsed) {
    switch (event) {
      case json::parse_event_t::key:
        return noteKey(parsed.get<std::string>());
      case json::parse_event_t::object_start:
        return open(false);
      case json::parse_event_t::array_start:
        return open(true);
      case json::parse_event_t::value:
        return noteElement();
      case json::parse_event_t::object_end:
      case json::parse_event_t::array_end:
        open_.pop_back();
    }
  }

 private:
  struct Level {
    bool isArray;
    std::size_t next = 0;  // of an array
    std::string label;     // of the value that comes next or is open
  };

  std::size_t offset() const { return static_cast<std::size_t>(reached_ - text_.data()); }

  std::string path() const {
    std::string joined;
    for (const auto& level : open_) joined += "/" + level.label;
    return joined;
  }

  void noteKey(std::string key) {
    open_.back().label = std::move(key);
    const auto value = text_.find_first_not_of(" \t\r\n:", offset());
    const bool isNew = offsets_.emplace(path(), std::min(value, text_.size())).second;
    if (!isNew && !repeatedKey_) repeatedKey_ = offset() - 1;
  }

  void noteElement() {
    if (open_.empty() || !open_.back().isArray) return;
    open_.back().label = std::to_string(open_.back().next++);
    offsets_.emplace(path(), offset() - 1);
  }

  void open(bool isArray) {
    // Deeper than anything that is asked for; each level would make every path longer.
    constexpr std::size_t depthLimit = 64;
    if (open_.size() == depthLimit) {
      throw TextError{"this is nested too deeply", placeOf(text_, offset() - 1)};
    }
    noteElement();
    if (open_.empty()) offsets_.emplace("", offset() - 1);
    open_.push_back({isArray, 0, {}});
  }

  const std::string_view text_;
  const char* reached_;
  std::map<std::string, std::size_t>& offsets_;
  std::vector<Level> open_;
  std::optional<std::size_t> repeatedKey_;
};

// Leaves out the library's own numbering and its place, which is told apart from the message.
std::string plainMessage(std::string_view what) {
  const auto start = what.find(": ");
  if (start != std::string_view::npos) what.remove_prefix(start + 2);
  return std::string(what);
}

}  // namespace

TextPlace placeOf(std::string_view text, std::size_t offset) {
  const auto before = text.substr(0, std::min(offset, text.size()));
  const auto lineStart = before.rfind('\n') + 1;  // 0 when there is none
  const auto line = 1 + std::count(before.begin(), before.end(), '\n');
  const auto column =
      1 + std::ranges::count_if(before.substr(lineStart), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0) != 0x80;  // not inside a UTF-8 sequence
      });
  return {static_cast<int>(line), static_cast<int>(column)};
}

std::string TextError::text() const {
  return "line " + std::to_string(place.line) + ", column " + std::to_string(place.column) + ": " +
         message;
}

std::variant<JsonDocument, TextError> JsonDocument::parse(std::string_view text) {
  JsonDocument document;
  document.text_ = text;
  PlaceKeeper keeper(text, document.offsets_);
  try {
    document.root_ =
        json::parse(keeper.begin(), keeper.end(), [&](int, json::parse_event_t event, json& value) {
          keeper.note(event, value);
          return true;
        });
  } catch (TextError& error) {
    return std::move(error);
  } catch (const json::parse_error& error) {
    return TextError{plainMessage(error.what()),
                     placeOf(text, error.byte > 0 ? error.byte - 1 : 0)};
  } catch (const json::exception& error) {
    return TextError{plainMessage(error.what()), placeOf(text, text.size())};
  }
  if (keeper.repeatedKey()) {
    return TextError{"this name stands twice in one object", placeOf(text, *keeper.repeatedKey())};
  }
  return document;
}

TextPlace JsonDocument::place(std::string path) const {
  for (;;) {
    const auto found = offsets_.find(path);
    if (found != offsets_.end()) return placeOf(text_, found->second);
    if (path.empty()) return {};
    path.resize(path.rfind('/'));
  }
}

}  // namespace tavrin::app
