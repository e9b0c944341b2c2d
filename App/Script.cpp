#include "App/Script.hpp"

#include <algorithm>
#include <charconv>
#include <map>
#include <optional>
#include <utility>

namespace tavrin::app {

namespace {

using Kind = ScriptCommand::Kind;

constexpr std::string_view blanks = " \t\r";

std::string_view trimmed(std::string_view text) {
  const auto start = text.find_first_not_of(blanks);
  if (start == text.npos) return text.substr(text.size());
  return text.substr(start, text.find_last_not_of(blanks) - start + 1);
}

std::string quoted(std::string_view text) {
  std::string quoted(1, '"');
  return quoted.append(text).append(1, '"');
}

std::optional<std::int64_t> wholeNumber(std::string_view text) {
  std::int64_t number = 0;
  const auto* end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, number);
  if (read.ec != std::errc{} || read.ptr != end) return std::nullopt;
  return number;
}

std::optional<std::chrono::milliseconds> duration(std::string_view text) {
  double scale = 1000;
  if (text.ends_with("ms")) {
    text.remove_suffix(2);
    scale = 1;
  } else if (text.ends_with("s")) {
    text.remove_suffix(1);
  } else {
    return std::nullopt;
  }
  double number = 0;
  const auto* end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, number, std::chars_format::fixed);
  constexpr double day = 86'400'000;
  const bool isGood = read.ec == std::errc{} && read.ptr == end && number >= 0;
  if (!isGood || number * scale > day) return std::nullopt;
  return std::chrono::milliseconds(static_cast<std::int64_t>(number * scale));
}

// One command, a view into the script, so that its words tell where they stand.
class CommandParser {
 public:
  CommandParser(std::string_view script, std::string_view command, std::int64_t itemCount,
                bool hasItem)
      : script_(script), itemCount_(itemCount), hasItem_(hasItem) {
    const auto end = std::min(command.find_first_of(blanks), command.size());
    word_ = command.substr(0, end);
    rest_ = trimmed(command.substr(end));
  }

  ScriptCommand parse() const {
    static const std::map<std::string_view, Kind> plain = {
        {"next", Kind::next},   {"prev", Kind::previous}, {"mute", Kind::mute},
        {"pause", Kind::pause}, {"play", Kind::play},     {"quit", Kind::quit}};
    if (const auto found = plain.find(word_); found != plain.end()) {
      if (!rest_.empty()) fail(rest_, "nothing may follow " + quoted(word_));
      return {found->second};
    }
    if (word_ == "set") return set();
    if (word_ == "wait") return wait();
    if (word_ == "seek") return seek();
    if (word_ == "snapshot") {
      if (rest_.empty()) fail(word_, "\"snapshot\" needs the name of a file");
      return {.kind = Kind::snapshot, .path = std::string(rest_)};
    }
    fail(word_, quoted(word_) +
                    " is no command; there are set, next, prev, mute, pause, play, seek, "
                    "wait, snapshot and quit");
  }

 private:
  ScriptCommand set() const {
    const auto number = wholeNumber(rest_);
    if (!number || *number < 1 || *number > itemCount_) {
      fail(rest_.empty() ? word_ : rest_,
           std::string("\"set\" needs the number of an item, 1 to ") + std::to_string(itemCount_));
    }
    return {.kind = Kind::set, .number = *number};
  }

  ScriptCommand seek() const {
    const auto time = duration(rest_);
    if (!time) {
      fail(rest_.empty() ? word_ : rest_, "\"seek\" needs a time from the start, such as 3s");
    }
    return {.kind = Kind::seek, .duration = *time};
  }

  ScriptCommand wait() const {
    if (rest_ == "ready" || rest_ == "end") {
      if (!hasItem_) fail(word_, "there is no item to wait for yet; begin with \"set 1\"");
      return {rest_ == "end" ? Kind::waitEnd : Kind::waitReady};
    }
    if (rest_ == "stored") return {Kind::waitStored};
    const auto time = duration(rest_);
    if (!time) {
      fail(rest_.empty() ? word_ : rest_,
           "\"wait\" needs ready, end, stored, or a time such as 2s or 250ms (a day at most)");
    }
    return {.kind = Kind::waitTime, .duration = *time};
  }

  [[noreturn]] void fail(std::string_view where, std::string message) const {
    const auto offset = static_cast<std::size_t>(where.data() - script_.data());
    throw TextError{std::move(message), placeOf(script_, offset)};
  }

  const std::string_view script_;
  const std::int64_t itemCount_;
  const bool hasItem_;  // a command before this one has asked for an item
  std::string_view word_;
  std::string_view rest_;
};

}  // namespace

std::variant<Script, TextError> parseScript(std::string_view text, std::int64_t itemCount) {
  Script script;
  bool hasItem = false;
  try {
    for (std::size_t start = 0; start < text.size();) {
      const auto lineEnd = std::min(text.find('\n', start), text.size());
      const auto end = std::min(text.find_first_of(";\n", start), text.size());
      const auto command = trimmed(text.substr(start, end - start));
      const bool isComment = command.starts_with('#');
      start = (isComment ? lineEnd : end) + 1;
      if (command.empty() || isComment) continue;
      script.push_back(CommandParser(text, command, itemCount, hasItem).parse());
      const auto kind = script.back().kind;
      hasItem = hasItem || kind == Kind::set || kind == Kind::next;
    }
  } catch (TextError& error) {
    return std::move(error);
  }
  return script;
}

}  // namespace tavrin::app
