#pragma once

#include "Tavrin/Mpv/Internal/MpvFacts.hpp"

namespace tavrin {

/// What the machine has to decode with.
struct DecodingMachine {
  int cores = 1;
  /// Whether there may be a hardware decoder; libmpv finds out.
  bool hasHardware = false;

  /// The one that this process runs on.
  static const DecodingMachine& own();
};

/// What a clip is decoded with. One thread gives the quickest first picture, for more have to be
/// filled with pictures first; so it is one wherever one can keep up.
struct Decoding {
  /// Each more holds a decoded picture more.
  static constexpr int mostThreads = 8;

  int threads = 1;
  bool usesHardware = false;

  static Decoding of(const TrackFacts& track, const DecodingMachine& machine);
  friend bool operator==(const Decoding&, const Decoding&) = default;
};

}  // namespace tavrin
