#pragma once

#include <optional>

#include "Tavrin/View/Geometry.hpp"

namespace tavrin {

/// Where a host draws a view: the size it takes up, and its content's place within.
struct Layout {
  Size size;
  Rect content;

  bool operator==(const Layout&) const = default;
};

/// A view in a frame: each dimension that is given is fixed, an absent one is left to the content.
/// `Content` has `Size sizeThatFits(Size offered, Size natural) const`.
template <class Content>
struct Framed {
  Content content;
  std::optional<double> width;
  std::optional<double> height;
  Alignment alignment;

  /// `offered` is the space the host has, `natural` the content's own size.
  Layout layout(Size offered, Size natural) const {
    const Size inner = content.sizeThatFits(
        {width.value_or(offered.width), height.value_or(offered.height)}, natural);
    const Size outer{width.value_or(inner.width), height.value_or(inner.height)};
    return {outer,
            {(outer.width - inner.width) * alignment.horizontal,
             (outer.height - inner.height) * alignment.vertical, inner.width, inner.height}};
  }
};

}  // namespace tavrin
