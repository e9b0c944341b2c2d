#pragma once

#include <memory>
#include <string_view>

#include "Tavrin/View/Bitmap.hpp"

namespace tavrin {

/// How a camera was held, as EXIF numbers it: 1 is upright, 2 to 8 are turned or mirrored.
struct Orientation {
  int number = 1;

  /// Reads it from an EXIF block, with or without its six-byte name in front; upright when the
  /// block does not say.
  static Orientation inExif(std::string_view block);

  /// The picture as it is meant to be seen. `bitmap` may be null, and then so is the result.
  std::shared_ptr<const Bitmap> upright(std::shared_ptr<const Bitmap> bitmap) const;

 private:
  bool isOnItsSide() const { return number >= 5; }
  bool isMirroredAcross() const { return number == 2 || number == 3 || number >= 7; }
  bool isMirroredDown() const { return number == 3 || number == 4 || number == 6 || number == 7; }
};

}  // namespace tavrin
