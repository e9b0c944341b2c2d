#pragma once

#include <optional>
#include <string>
#include <utility>

#include "Tavrin/Foundation/URL.hpp"
#include "Tavrin/Foundation/UUID.hpp"

namespace tavrin {

/// The video for which a player item is to be obtained and installed.
struct SetPlayerValues {
  SetPlayerValues(URL address, std::string type, std::optional<bool> loops)
      : url(std::move(address)), mimeType(std::move(type)), loopVideo(loops) {}

  URL url;
  std::string mimeType;
  /// Only true makes the player loop.
  std::optional<bool> loopVideo;

  bool operator==(const SetPlayerValues&) const = default;
};

/// The step to take.
struct SetMediaValues {
  SetMediaValues(std::optional<UUID> media, bool skippedBack, bool exerciseLooping)
      : mediaId(media), isSkippedBack(skippedBack), isExerciseLooping(exerciseLooping) {}

  /// The item to make current. Absent only pauses the player.
  std::optional<UUID> mediaId;
  /// Whether the position moves back instead of forward.
  bool isSkippedBack;
  /// Whether a step past either end of the list goes on at the other end.
  bool isExerciseLooping;

  bool operator==(const SetMediaValues&) const = default;
};

}  // namespace tavrin
