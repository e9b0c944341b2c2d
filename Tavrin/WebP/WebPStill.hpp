#pragma once

#include "Tavrin/View/ImageDecoder.hpp"
#include "Tavrin/View/Internal/Orientation.hpp"
#include "Tavrin/View/Internal/PixelSize.hpp"

namespace tavrin {

/// A WebP that stands still. The library scales it row by row while it decodes.
class WebPStill final : public ImageDecoder {
 public:
  /// `size` is that of the result, before it is turned.
  WebPStill(Data bytes, PixelSize size, Orientation orientation)
      : bytes_(std::move(bytes)), size_(size), orientation_(orientation) {}

  const std::vector<std::chrono::milliseconds>& delays() const override { return delays_; }
  std::optional<std::int64_t> plays() const override { return 1; }
  std::shared_ptr<const Bitmap> next() override;
  void rewind() override { isRead_ = false; }

 private:
  const Data bytes_;
  const PixelSize size_;
  const Orientation orientation_;
  const std::vector<std::chrono::milliseconds> delays_{frameDelay({})};
  bool isRead_ = false;
};

}  // namespace tavrin
