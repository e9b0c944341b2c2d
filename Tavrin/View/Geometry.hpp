#pragma once

#include <optional>

namespace tavrin {

/// Lengths are in points: the host decides how many pixels a point has.
struct Size {
  double width = 0;
  double height = 0;

  bool operator==(const Size&) const = default;
};

struct Rect {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;

  bool operator==(const Rect&) const = default;
};

struct EdgeInsets {
  double top = 0;
  double leading = 0;
  double bottom = 0;
  double trailing = 0;

  bool operator==(const EdgeInsets&) const = default;
};

/// Where content lies in a frame of another size: 0 leading or top, 0.5 centred, 1 trailing or
/// bottom.
struct Alignment {
  double horizontal = 0.5;
  double vertical = 0.5;

  bool operator==(const Alignment&) const = default;

  static constexpr Alignment center() { return {}; }
};

}  // namespace tavrin
