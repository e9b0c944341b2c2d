#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <variant>

namespace tavrin::app {

/// The statuses with which the program ends.
enum class ExitStatus : int {
  success = 0,
  unreadable = 1,  // a file could not be read, understood or written
  usage = 2,       // the arguments are wrong
  itemFailed = 3,  // an item could not be shown
};

/// What the program is asked to do.
struct Arguments {
  /// A file. Absent: the sample workout.
  std::optional<std::string> workout;
  bool isHeadless = false;
  /// A text, or "@" and the name of a file.
  std::optional<std::string> script;
  std::optional<std::string> trace;     // a file to write
  std::optional<std::string> snapshot;  // a PNG file to write at the end
  int width = 880;                      // points
  int height = 700;                     // points
  bool startsMuted = false;
  bool isSilent = false;
  std::chrono::milliseconds patience = std::chrono::seconds(15);

  /// Reads the program's arguments. Help and complaints are printed; then the result is the status
  /// to end with.
  static std::variant<Arguments, ExitStatus> parse(int count, const char* const* values);
};

}  // namespace tavrin::app
