#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "Tavrin/View/Geometry.hpp"

namespace tavrin::app {

/// Something on the screen that can be pressed.
struct ScreenControl {
  enum class Kind { leave, previous, playPause, next, mute, position, item };

  Kind kind;
  std::int64_t position = 0;  // of an item

  bool operator==(const ScreenControl&) const = default;
};

/// Where the parts of the screen are, in points. Parts for which there is no room are empty.
struct ScreenLayout {
  Rect header;
  Rect stage;
  Rect progress;
  Rect controls;
  Rect leave;
  Rect previous;
  Rect playPause;
  Rect next;
  Rect mute;
  /// The items that there is room for, the one at `firstItem` first.
  std::vector<Rect> items;
  std::int64_t firstItem = 0;
  /// Whether the items have room for their names.
  bool itemsHaveNames = false;

  static ScreenLayout make(Size screen, std::int64_t itemCount,
                           std::optional<std::int64_t> current);

  /// Which part of a video a place on the position bar, or beside it, stands for: 0 to 1.
  double partAt(double x) const;
  /// The control at a place, if any.
  std::optional<ScreenControl> controlAt(double x, double y) const;
};

}  // namespace tavrin::app
