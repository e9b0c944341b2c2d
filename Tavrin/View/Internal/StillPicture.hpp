#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "Tavrin/View/ImageDecoder.hpp"

namespace tavrin {

/// A picture that stands still: one frame, shown once. It holds no decoded picture between two
/// calls.
class StillPicture : public ImageDecoder {
 public:
  const std::vector<std::chrono::milliseconds>& delays() const final { return delays_; }
  std::optional<std::int64_t> plays() const final { return 1; }
  std::shared_ptr<const Bitmap> next() final {
    return std::exchange(isRead_, true) ? nullptr : decode();
  }
  void rewind() final { isRead_ = false; }

 private:
  /// Null when the bytes are no picture.
  virtual std::shared_ptr<const Bitmap> decode() = 0;

  const std::vector<std::chrono::milliseconds> delays_{frameDelay({})};
  bool isRead_ = false;
};

}  // namespace tavrin
