#include "App/Arguments.hpp"

#include <CLI/CLI.hpp>
#include <charconv>
#include <iostream>
#include <sstream>
#include <string_view>
#include <utility>

#include "Tavrin/Foundation/PrintableText.hpp"

namespace tavrin::app {

namespace {

constexpr const char* footer =
    R"(Keys: space plays and pauses, n and p step, l and j go 5 s on and back, m mutes, 1 to 9 choose an
item, q ends.

Scripts are commands separated by semicolons or line breaks:
  set N          make the item with the number current
  next, prev     step
  play, pause    play and pause
  seek 3s        go to a place of the video, from its start
  mute           turn the sound off and on
  wait ready     until the item is shown, or has failed
  wait end       until the video has played to its end once
  wait stored    until every video is on disk
  wait 2s        for a time, in s or ms
  snapshot FILE  draw what a person would see into a PNG
  quit           end

Exit status: 0, or 1 when a file could not be read or written, 2 when the arguments are wrong,
3 when an item could not be shown.)";

std::optional<int> side(std::string_view text) {
  int pixels = 0;
  const auto* end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, pixels);
  constexpr int least = 160;
  constexpr int most = 7680;
  if (read.ec != std::errc{} || read.ptr != end || pixels < least || pixels > most) {
    return std::nullopt;
  }
  return pixels;
}

std::optional<std::pair<int, int>> sizeIn(std::string_view text) {
  const auto times = text.find('x');
  if (times == text.npos) return std::nullopt;
  const auto width = side(text.substr(0, times));
  const auto height = side(text.substr(times + 1));
  if (!width || !height) return std::nullopt;
  return std::pair(*width, *height);
}

// Written so that what is no number falls outside of the bounds.
std::optional<std::chrono::milliseconds> patienceIn(std::string_view text) {
  double seconds = 0;
  const auto* end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, seconds);
  const bool isInBounds = seconds >= 0.1 && seconds <= 3600;
  if (read.ec != std::errc{} || read.ptr != end || !isInBounds) return std::nullopt;
  return std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
}

}  // namespace

std::variant<Arguments, ExitStatus> Arguments::parse(int count, const char* const* values) {
  Arguments arguments;
  CLI::App app("Plays a workout: exercise videos, and animated images between them.",
               "workout-player");
  app.footer(footer);
  app.add_option("workout", arguments.workout, "A workout file; without one, the sample workout")
      ->option_text("WORKOUT.json");
  app.add_flag("--headless", arguments.isHeadless,
               "Open no window: play in real time and print each change of state");
  app.add_option("--script", arguments.script, "Commands to carry out, or @ and a file's name")
      ->option_text("TEXT|@FILE");
  app.add_option("--trace", arguments.trace, "Write one JSON line per event")->option_text("FILE");
  app.add_option("--snapshot", arguments.snapshot,
                 "Draw what a person would see at the end of the script, or else the first item, "
                 "into a PNG; opens no window")
      ->option_text("FILE.png");
  app.add_option("--size", "The size of the window and of snapshots (880x700)")
      ->option_text("WxH")
      ->each([&](const std::string& text) {
        const auto sides = sizeIn(text);
        if (!sides) throw CLI::ValidationError("--size", "must be like 880x700, 160 to 7680 each");
        std::tie(arguments.width, arguments.height) = *sides;
      });
  app.add_flag("--mute", arguments.startsMuted, "Start with the sound off");
  app.add_flag("--no-audio", arguments.isSilent, "Open no sound device");
  app.add_option("--patience", "How long an item may show nothing before it counts as failed (15)")
      ->option_text("SECONDS")
      ->each([&](const std::string& text) {
        const auto patience = patienceIn(text);
        if (!patience) throw CLI::ValidationError("--patience", "must be 0.1 to 3600 seconds");
        arguments.patience = *patience;
      });
  try {
    app.parse(count, values);
  } catch (const CLI::ParseError& error) {
    std::ostringstream complaint;
    const int status = app.exit(error, std::cout, complaint);
    std::istringstream lines(complaint.str());
    for (std::string line; std::getline(lines, line);) std::cerr << printable(line) << '\n';
    return status == 0 ? ExitStatus::success : ExitStatus::usage;
  }
  return arguments;
}

}  // namespace tavrin::app
