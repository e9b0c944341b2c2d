#pragma once

#include <memory>
#include <string_view>

#include "Tavrin/Foundation/Bundle.hpp"

namespace tavrin {

/// A colour; its parts go from 0 to 1, and alpha is not premultiplied. Immutable; any thread.
struct UIColor {
  double red = 0;
  double green = 0;
  double blue = 0;
  double alpha = 1;

  /// Looks a colour up in the bundle's catalogue; null when there is none of that name.
  static std::shared_ptr<const UIColor> named(std::string_view name, const Bundle& bundle);

  bool operator==(const UIColor&) const = default;
};

}  // namespace tavrin
