#pragma once

#include <vector>

#include "Tavrin/Media/MediaEngine.hpp"

namespace tavrin {

/// How far a picture has to be turned, clockwise, to stand upright.
enum class Turn { none, quarter, half, threeQuarters };

/// The nearest of the four; degrees of any size and sign.
Turn turnOfDegrees(double degrees);

/// Copies a picture of 32 bits a pixel, turned. The target is as large as the turned source.
void copyTurned(const PixelBuffer& source, Turn turn, const PixelBuffer& target);

/// Where a picture is drawn before it is turned. Keeps its memory for the next one. One thread.
class TurningSurface {
 public:
  /// Pixels that fill the target once they are turned, valid until the next call.
  PixelBuffer before(Turn turn, const PixelBuffer& target);

 private:
  std::vector<std::byte> bytes_;
};

}  // namespace tavrin
