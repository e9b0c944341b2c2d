#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

#include "Platform/Foundation/Data.hpp"
#include "Platform/View/Bitmap.hpp"

namespace tavrin {

struct ImageLimits {
  /// Checked before anything is decoded, so a larger header costs no memory.
  std::int64_t pixels = 3840LL * 2160;
  /// Frames after these are left out.
  std::int64_t frames = 65'536;
};

/// Turns the bytes of a still or animated image into frames, one after another.
///
/// Not for several threads at once; any one thread at a time. Each frame is the whole picture: what
/// an animation leaves standing from the frame before is in it.
class ImageDecoder {
 public:
  /// Reads GIF, PNG with or without animation, WebP and JPEG stills, told by their first bytes.
  /// Null when the bytes are none of these, or are beyond the limits.
  static std::unique_ptr<ImageDecoder> open(const Data& bytes, const ImageLimits& limits = {});

  virtual ~ImageDecoder() = default;

  /// How long each frame stays, one entry for each frame the file announces; never empty. A frame
  /// that gives no time, or less than 20 ms in a GIF, stays for 100 ms, as in the common viewers.
  virtual const std::vector<std::chrono::milliseconds>& delays() const = 0;

  /// The next frame; null after the last one, and after a frame that cannot be decoded.
  virtual std::shared_ptr<const Bitmap> next() = 0;
  /// Makes the first frame the next one.
  virtual void rewind() = 0;
};

}  // namespace tavrin
