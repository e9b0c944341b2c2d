#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "Tavrin/FFmpeg/PictureParts.hpp"
#include "Tavrin/View/Internal/PixelSize.hpp"

namespace tavrin {

/// One frame of an animation: a picture, and what it does to the canvas.
struct AnimationFrame {
  /// What becomes of the frame's part of the canvas once its time is over.
  enum class Disposal { keep, clear, restore };

  int x = 0;
  int y = 0;
  PixelSize size;  // may reach outside the canvas
  std::chrono::milliseconds delay{0};
  Disposal disposal = Disposal::keep;
  /// Whether what is behind shows through; otherwise the frame replaces it.
  bool isBlended = true;
  /// Of a GIF: the colour that stands for none.
  std::optional<unsigned> transparent;
  // Where its bytes lie in the file.
  std::size_t begin = 0;
  std::size_t end = 0;
};

/// The frames of an animated GIF or PNG, found without decoding them. Each can be decoded as a file
/// of its own.
class AnimationFile {
 public:
  virtual ~AnimationFile() = default;

  /// libavcodec's name of the decoder for one frame.
  virtual const char* decoder() const = 0;
  virtual PictureParts picture(const AnimationFrame& frame) const = 0;

  PixelSize canvas;
  std::vector<AnimationFrame> frames;
  /// How often it is shown; absent for without end.
  std::optional<std::int64_t> plays;
};

}  // namespace tavrin
