#include "Platform/FFmpeg/ImageFormat.hpp"

#include <string_view>

#include "Platform/FFmpeg/PNGScan.hpp"

namespace tavrin {

ImageFormat ImageFormat::of(const Data& bytes) {
  const auto text = bytes.text();
  if (text.starts_with("GIF87a") || text.starts_with("GIF89a")) return {"gif", "gif", bytes};
  if (text.starts_with("RIFF") && text.substr(4).substr(0, 8).ends_with("WEBP")) {
    return {"webp", nullptr, bytes};
  }
  if (text.starts_with("\xFF\xD8\xFF")) return {"mjpeg", nullptr, bytes};
  const auto png = PNGScan::of(bytes);
  if (!png.isPNG) return {};
  const auto whole = png.wholeBytes == bytes.count() ? bytes : bytes.subdata(0, png.wholeBytes);
  return png.isAnimated ? ImageFormat{"apng", "apng", whole} : ImageFormat{"png", nullptr, whole};
}

}  // namespace tavrin
