#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Tavrin/View/Bitmap.hpp"
#include "Tavrin/View/Geometry.hpp"

namespace tavrin::testing {

struct Pixel {
  int red = 0;
  int green = 0;
  int blue = 0;

  /// Whether no part differs by more than decoding may change it.
  bool isNear(const Pixel& other) const;
};

/// A picture to look into.
class PictureFile {
 public:
  /// Absent when the file is not there or cannot be decoded.
  static std::optional<PictureFile> png(const std::string& path);
  /// The screen of an X server that keeps it in a file, as it is now.
  static std::optional<PictureFile> screen(const std::string& path);

  int width() const { return bitmap_.width; }
  int height() const { return bitmap_.height; }
  Pixel at(double x, double y) const;
  /// The share of a rectangle's pixels that are near a colour.
  double share(const Rect& rect, const Pixel& color) const;

 private:
  explicit PictureFile(Bitmap bitmap) : bitmap_(std::move(bitmap)) {}

  Bitmap bitmap_;
};

}  // namespace tavrin::testing
