#pragma once

#include <cstdint>

#include "Platform/Foundation/Data.hpp"

namespace tavrin {

/// What the chunks of a PNG say about it, read without decoding.
struct PNGScan {
  bool isPNG = false;
  bool isAnimated = false;
  /// The bytes before the first chunk that claims to go on past the end of the file.
  ///
  /// libavformat allocates what a chunk claims before it reads it, up to 2 GB for a few bytes, so
  /// it is not shown such a chunk.
  std::int64_t wholeBytes = 0;

  static PNGScan of(const Data& bytes);
};

}  // namespace tavrin
