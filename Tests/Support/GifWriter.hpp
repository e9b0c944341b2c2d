#pragma once

#include <cstdint>
#include <vector>

#include "Tavrin/Foundation/Data.hpp"

namespace tavrin::testing {

/// Writes a GIF with a fixed palette of 128 colours: entry i is (2i, 255 - 2i, i).
class GifWriter {
 public:
  GifWriter(int width, int height);

  /// How often it is shown again after the first time, 0 for without end; once in all if this is
  /// not called. Before the first frame.
  void setRepeats(int count);
  /// Where a frame lies, what becomes of it afterwards (1 it stays, 2 it is cleared, 3 what was
  /// there comes back), and the index that is transparent, if one is.
  struct Place {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    int disposal = 0;
    int transparent = -1;
  };
  void addFrame(const Place& place, const std::vector<std::uint8_t>& indices, int delay);

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
