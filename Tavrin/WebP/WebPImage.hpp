#pragma once

#include <string_view>

#include "Tavrin/View/ImageDecoder.hpp"

namespace tavrin {

/// Still and animated WebP.
struct WebPImage {
  static bool matches(std::string_view file);
  static ImageDecoder::Opened open(const Data& bytes, const ImageLimits& limits);
};

}  // namespace tavrin
