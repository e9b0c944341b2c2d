#pragma once

#include <string_view>

#include "Tavrin/View/Internal/Orientation.hpp"
#include "Tavrin/View/Internal/PixelSize.hpp"

namespace tavrin {

/// What the segments of a JPEG say in front of its picture, read without decoding.
struct JPEGScan {
  /// Zero when the file ends before it says.
  PixelSize size;
  Orientation orientation;
  /// Whether it is one of the usual forms, which can be decoded in a half of their size.
  bool canBeHalved = false;

  /// The bytes of a file that begins as a JPEG does.
  static JPEGScan of(std::string_view file);

  /// How often the picture may be halved and still fill `side`, at most 3 times.
  int halvings(int side) const;
};

}  // namespace tavrin
