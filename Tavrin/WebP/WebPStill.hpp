#pragma once

#include "Tavrin/View/Internal/Orientation.hpp"
#include "Tavrin/View/Internal/PixelSize.hpp"
#include "Tavrin/View/Internal/StillPicture.hpp"

namespace tavrin {

/// A WebP that stands still. The library scales it row by row while it decodes.
class WebPStill final : public StillPicture {
 public:
  /// `size` is that of the result, before it is turned.
  WebPStill(Data bytes, PixelSize size, Orientation orientation)
      : bytes_(std::move(bytes)), size_(size), orientation_(orientation) {}

 private:
  std::shared_ptr<const Bitmap> decode() override;

  const Data bytes_;
  const PixelSize size_;
  const Orientation orientation_;
};

}  // namespace tavrin
