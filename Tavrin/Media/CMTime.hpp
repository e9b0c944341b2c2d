#pragma once

#include <compare>

namespace tavrin {

/// A moment on an item's time line.
struct CMTime {
  double seconds = 0;

  static const CMTime zero;

  auto operator<=>(const CMTime&) const = default;
};

inline constexpr CMTime CMTime::zero{};

}  // namespace tavrin
