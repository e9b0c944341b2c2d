#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "Tavrin/Foundation/Bundle.hpp"
#include "Tavrin/View/Bitmap.hpp"
#include "Tavrin/View/Geometry.hpp"

namespace tavrin {

/// A still image in one or more resolutions. Immutable; any thread.
class UIImage {
 public:
  /// Looks an image up in the bundle's catalogue and decodes it; null when there is none of that
  /// name that can be decoded.
  static std::shared_ptr<const UIImage> named(std::string_view name, const Bundle& bundle);

  /// In points.
  Size size() const;
  /// The smallest rendering that is at least this many pixels high, or else the largest.
  const Bitmap& rendering(int height) const;

 private:
  explicit UIImage(std::vector<std::shared_ptr<const Bitmap>> renderings)
      : renderings_(std::move(renderings)) {}

  std::vector<std::shared_ptr<const Bitmap>> renderings_;  // by height; never empty
};

}  // namespace tavrin
