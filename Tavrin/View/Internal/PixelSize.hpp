#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>

#include "Tavrin/View/ImageDecoder.hpp"

namespace tavrin {

/// What a picture measures, in pixels.
struct PixelSize {
  int width = 0;
  int height = 0;

  std::int64_t pixels() const { return std::int64_t{width} * height; }
  int longerSide() const { return std::max(width, height); }
  /// The same shape with neither side beyond `side`, and neither below 1.
  PixelSize within(int side) const {
    if (longerSide() <= side) return *this;
    const auto scaled = [&](int length) {
      return std::max(1, static_cast<int>(std::int64_t{length} * side / longerSide()));
    };
    return {scaled(width), scaled(height)};
  }
  /// Why a picture of this size is not opened; absent when it is.
  std::optional<Error> refusal(std::int64_t limit) const {
    if (width <= 0 || height <= 0) return noPicture();
    if (pixels() <= limit) return std::nullopt;
    return Error(ErrorCode::tooLarge,
                 "the image has " + std::to_string(width) + " x " + std::to_string(height) +
                     " pixels, more than the limit of " + std::to_string(limit));
  }
  static Error noPicture() { return {ErrorCode::noPicture, "the image holds no picture"}; }

  bool operator==(const PixelSize&) const = default;
};

}  // namespace tavrin
