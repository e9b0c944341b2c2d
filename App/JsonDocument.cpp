#include "App/JsonDocument.hpp"

#include <algorithm>
#include <iterator>
#include <ranges>
#include <unordered_set>
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

// Leaves out the library's own numbering and its place, which is told apart from the message.
std::string plainMessage(std::string_view what) {
  const auto start = what.find(": ");
  if (start != std::string_view::npos) what.remove_prefix(start + 2);
  return std::string(what);
}

// Walks through a text without keeping its values: finds what would make them too many or too deep
// to keep, and where the value of a path begins.
class Walk final : public json::json_sax_t {
 public:
  Walk(std::string_view text, std::string_view path) : text_(text), reached_(text.data()) {
    for (const auto part : path.substr(path.empty() ? 0 : 1) | std::views::split('/')) {
      wanted_.emplace_back(part.begin(), part.end());
    }
    if (path.empty()) wanted_.clear();
  }

  // Throws what is wrong with the text.
  void run() {
    json::sax_parse(CountingIterator(text_.data(), &reached_),
                    CountingIterator(text_.data() + text_.size(), &reached_), this);
  }

  // Of the value that the path leads to, or of the innermost around it.
  std::size_t found() const { return found_; }

  bool null() override { return noteValue(); }
  bool boolean(bool) override { return noteValue(); }
  bool number_integer(number_integer_t) override { return noteValue(); }
  bool number_unsigned(number_unsigned_t) override { return noteValue(); }
  bool number_float(number_float_t, const string_t&) override { return noteValue(); }
  bool string(string_t&) override { return noteValue(); }
  bool binary(binary_t&) override { return noteValue(); }
  bool start_object(std::size_t) override { return open(false); }
  bool start_array(std::size_t) override { return open(true); }
  bool end_object() override { return close(); }
  bool end_array() override { return close(); }

  bool key(string_t& name) override {
    auto& object = open_.back();
    if (!object.names.insert(name).second) fail("this name stands twice in one object");
    object.label = name;
    const auto value = text_.find_first_not_of(" \t\r\n:", offset());
    match(std::min(value, text_.size()));
    return true;
  }

  bool parse_error(std::size_t place, const std::string&,
                   const nlohmann::detail::exception& error) override {
    throw TextError{plainMessage(error.what()), placeOf(text_, place > 0 ? place - 1 : 0)};
  }

 private:
  struct Level {
    bool isArray;
    std::size_t next = 0;                   // of an array
    std::unordered_set<std::string> names;  // of an object, so far
    std::string label;                      // of the value that comes next or is open
  };

  std::size_t offset() const { return static_cast<std::size_t>(reached_ - text_.data()); }

  [[noreturn]] void fail(const char* message) const {
    throw TextError{message, placeOf(text_, offset() - 1)};
  }

  bool noteValue() {
    if (++values_ > JsonDocument::valueLimit) fail("this file holds too many values");
    if (open_.empty()) {
      found_ = offset() - 1;
    } else if (open_.back().isArray) {
      open_.back().label = std::to_string(open_.back().next++);
      match(offset() - 1);
    }
    return true;
  }

  // A value begins at the place, with the label of the innermost level.
  void match(std::size_t place) {
    const auto depth = open_.size();
    matched_ = std::min(matched_, depth - 1);
    if (matched_ != depth - 1 || depth > wanted_.size()) return;
    if (wanted_[depth - 1] != open_.back().label) return;
    matched_ = depth;
    found_ = place;
  }

  bool open(bool isArray) {
    if (open_.size() == JsonDocument::depthLimit) fail("this is nested too deeply");
    noteValue();
    open_.push_back({isArray, 0, {}, {}});
    return true;
  }

  bool close() {
    open_.pop_back();
    return true;
  }

  const std::string_view text_;
  const char* reached_;
  std::vector<std::string> wanted_;  // the labels of the path
  std::vector<Level> open_;
  std::size_t matched_ = 0;  // how many of the wanted labels lead to where the walk is
  std::size_t found_ = 0;
  std::size_t values_ = 0;
};

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
  try {
    Walk(text, "").run();
    return JsonDocument(json::parse(text), std::string(text));
  } catch (TextError& error) {
    return std::move(error);
  } catch (const json::exception& error) {
    return TextError{plainMessage(error.what()), placeOf(text, text.size())};
  }
}

TextPlace JsonDocument::place(std::string_view path) const {
  Walk walk(text_, path);
  walk.run();
  return placeOf(text_, walk.found());
}

}  // namespace tavrin::app
