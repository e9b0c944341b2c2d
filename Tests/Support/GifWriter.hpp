#pragma once

#include <cstdint>
#include <vector>

#include "Platform/Foundation/Data.hpp"

namespace tavrin::testing {

/// Writes a GIF with a fixed palette of 128 colours: entry i is (2i, 255 - 2i, i).
class GifWriter {
 public:
  GifWriter(int width, int height);

  /// Adds a whole frame; `indices` has one palette index below 128 for each pixel. The delay is in
  /// hundredths of a second.
  void addFrame(const std::vector<std::uint8_t>& indices, int delay);
  /// Adds a whole frame of one colour.
  void addFrame(std::uint8_t index, int delay);

  /// The file so far, with its trailer.
  Data data() const;

 private:
  void byte(int value) { bytes_.push_back(static_cast<std::byte>(value)); }
  void word(int value);
  void compress(const std::vector<std::uint8_t>& indices);

  int width_;
  int height_;
  std::vector<std::byte> bytes_;
};

}  // namespace tavrin::testing
