#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "App/JsonDocument.hpp"

namespace tavrin::app {

/// One step of a script that drives the player.
struct ScriptCommand {
  enum class Kind {
    set,         // make the item with the number current
    next,        // step to the next item
    previous,    // step to the previous item
    mute,        // toggle the sound
    pause,       // pause
    play,        // play
    seek,        // go to a place of the current video
    waitReady,   // until the current item is shown, or has failed
    waitEnd,     // until the current video has played to its end once, or has failed
    waitStored,  // until every video is on disk
    waitTime,    // for a time
    snapshot,    // draw what a person would see into a PNG
    quit,        // end the program
  };

  Kind kind;
  std::int64_t number = 0;               // of set, from 1
  std::chrono::milliseconds duration{};  // of waitTime; of seek, from the start
  std::string path = {};                 // of snapshot

  bool operator==(const ScriptCommand&) const = default;
};

using Script = std::vector<ScriptCommand>;

/// Reads commands separated by semicolons or line breaks: "set N", "next", "prev", "mute", "pause",
/// "play", "seek 3s", "wait ready", "wait end", "wait stored", "wait 2s", "wait 250ms", "snapshot
/// FILE", "quit". "#" at the start of a command begins a comment that reaches to the end of the
/// line. Items are numbered from 1 to `itemCount`.
std::variant<Script, TextError> parseScript(std::string_view text, std::int64_t itemCount);

}  // namespace tavrin::app
