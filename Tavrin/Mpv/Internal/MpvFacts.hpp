#pragma once

#include <cstdint>
#include <string>

#include "Tavrin/Mpv/Internal/Turning.hpp"

struct mpv_node;

namespace tavrin {

/// What a container says of the video track that plays.
struct TrackFacts {
  std::int64_t width = 0;   // pixels; 0 while it is not known
  std::int64_t height = 0;  // pixels; 0 while it is not known
  Turn turn = Turn::none;
  /// Whether pictures of this codec may be of a high dynamic range: their first one tells.
  bool mayBeHdr = false;

  static TrackFacts of(const mpv_node& track);
};

/// What a decoded picture is like, as it is handed to the renderer.
struct PictureFacts {
  std::int64_t width = 0;   // pixels
  std::int64_t height = 0;  // pixels
  /// Whether its numbers stand for a high dynamic range (PQ or HLG).
  bool isHdr = false;

  static PictureFacts of(const mpv_node& parameters);
};

}  // namespace tavrin
