#pragma once

#include <cstdint>
#include <vector>

#include "Tavrin/Mpv/Internal/Turning.hpp"

struct mpv_node;

namespace tavrin {

/// What a container says of the video track that plays.
struct TrackFacts {
  std::int64_t place = -1;  // among the file's tracks, from 0; -1 while it is not known
  std::int64_t width = 0;   // pixels; 0 while it is not known
  std::int64_t height = 0;  // pixels; 0 while it is not known
  Turn turn = Turn::none;
  double rate = 0;  // pictures per second; 0 while it is not known
  /// Whether its codec is an older one, of eight bits. Pictures of any other take longer to decode,
  /// and may be of a high dynamic range: their first one tells.
  bool isOfPlainCodec = true;
  /// libmpv does not know it: who reads the file does.
  bool isEncrypted = false;

  static TrackFacts of(const mpv_node& track);
  /// The video tracks of a file's list of tracks, but for cover art.
  static std::vector<TrackFacts> ofVideos(const mpv_node& tracks);
  /// The places of the tracks of sound.
  static std::vector<std::int64_t> placesOfSounds(const mpv_node& tracks);
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
