#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "Tavrin/Foundation/Data.hpp"
#include "Tavrin/Foundation/Error.hpp"
#include "Tavrin/View/Bitmap.hpp"

namespace tavrin {

/// The sizes are checked before anything is decoded, so a larger header costs no memory.
struct ImageLimits {
  /// Of a still.
  std::int64_t pixels = 100'000'000;
  /// Of an animation, whose whole canvas is held.
  std::int64_t animatedPixels = 4096LL * 4096;
  /// In pixels. A picture with a longer side is scaled down to this, and keeps its shape.
  int side = 4096;
  /// Frames after these are left out.
  std::int64_t frames = 65'536;
};

/// Turns the bytes of a still or animated image into frames, one after another.
///
/// Not for several threads at once; any one thread at a time. Each frame is the whole picture: what
/// an animation leaves standing from the frame before is in it. What no frame has covered is
/// transparent. A still is turned as its EXIF orientation says.
class ImageDecoder {
 public:
  struct Opened;
  /// Reads GIF, JPEG, and PNG and WebP with or without animation, told by their first bytes.
  static Opened open(const Data& bytes, const ImageLimits& limits = {});

  virtual ~ImageDecoder() = default;

  /// How long each frame stays, one entry for each frame the file announces; never empty.
  virtual const std::vector<std::chrono::milliseconds>& delays() const = 0;
  /// How often all frames are shown before the last one stays, at least 1; absent for without end.
  virtual std::optional<std::int64_t> plays() const = 0;

  /// The next frame; null after the last one, and after a frame that cannot be decoded.
  virtual std::shared_ptr<const Bitmap> next() = 0;
  /// Makes the first frame the next one.
  virtual void rewind() = 0;
};

struct ImageDecoder::Opened {
  /// Null when the bytes cannot be shown; then the error is `unsupported` for another format,
  /// `noPicture` when they hold none, and `tooLarge` beyond the limits.
  std::unique_ptr<ImageDecoder> decoder;
  Error error;
};

/// How long a frame stays when its file says so much. Browsers hold a frame of 10 ms or less for
/// 100 ms; so does every format here.
constexpr std::chrono::milliseconds frameDelay(std::chrono::milliseconds written) {
  using std::chrono::milliseconds;
  return written <= milliseconds(10) ? milliseconds(100) : written;
}

}  // namespace tavrin
