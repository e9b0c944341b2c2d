#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "App/JsonDocument.hpp"
#include "Tavrin/Models/Media.hpp"

namespace tavrin::app {

/// A workout as its file gives it.
struct Workout {
  struct Item {
    UUID id;
    /// An http or https address, or else the percent-encoded path of a file in the workout's
    /// folder.
    std::string address;
    bool isLocal;
    Media::MimeType mimeType;
    std::optional<bool> loopVideo;
  };

  std::string title;
  bool isExerciseLooping = false;
  std::vector<Item> items;  // at least one

  /// The paths of the local items, decoded, relative to the workout's folder.
  std::vector<std::string> localFiles() const;
  /// The items for the feature. `folder` is the address, with a slash at its end, at which the
  /// workout's folder is served.
  std::vector<Media> media(std::string_view folder) const;
};

/// Reads a workout: an object with "title", "exerciseLooping" (false when absent) and "media", a
/// list of objects with "id", "url", "mimeType" and "loopVideo" (may be absent). Other names are
/// passed over.
std::variant<Workout, TextError> parseWorkout(std::string_view json);

}  // namespace tavrin::app
