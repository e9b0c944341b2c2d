#pragma once

#include <string>

#include "App/Canvas.hpp"

namespace tavrin::app {

/// What stands in the place of an item that could not be shown.
struct FailureCard {
  const UIImage& icon;
  std::string item;  // which one it is
  std::string why;   // may be empty

  /// Draws it in the middle of a stage, as large as its text; what a small stage has no room for is
  /// left out: first the icon, then the item.
  void draw(Canvas& canvas, const Rect& stage) const;
};

}  // namespace tavrin::app
