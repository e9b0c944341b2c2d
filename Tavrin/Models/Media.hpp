#pragma once

#include <optional>
#include <string>
#include <utility>

#include "Tavrin/Foundation/URL.hpp"
#include "Tavrin/Foundation/UUID.hpp"

namespace tavrin {

/// One item of a workout: an exercise video, or an animated image between two of them.
struct Media {
  /// A MIME type as text, such as "video/mp4".
  struct MimeType {
    std::string rawValue;

    bool isVideo() const;
    bool operator==(const MimeType&) const = default;
  };

  Media(UUID mediaId, std::optional<URL> address, MimeType type,
        std::optional<bool> loops = std::nullopt)
      : id(mediaId), url(std::move(address)), mimeType(std::move(type)), loopVideo(loops) {}

  UUID id;
  /// Where the item is. One without an address is never played.
  std::optional<URL> url;
  MimeType mimeType;
  /// Whether the video starts again at its end. Only true makes it loop.
  std::optional<bool> loopVideo;

  bool operator==(const Media&) const = default;
};

}  // namespace tavrin
