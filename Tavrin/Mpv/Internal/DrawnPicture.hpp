#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "Tavrin/Media/MediaEngine.hpp"
#include "Tavrin/Mpv/Internal/MpvRenderer.hpp"

namespace tavrin {

/// The picture of a player that stands still, drawn on another thread before a host asks for it.
/// Scaling a large picture takes longer than all the rest of a step to it. Any thread.
class DrawnPicture {
 public:
  /// In pixels; larger ones are not drawn beforehand.
  static constexpr std::int64_t limit = std::int64_t{1920} * 1080;

  /// Begins to draw, in a size in pixels. Absent for a size that is empty or beyond the limit.
  static std::shared_ptr<DrawnPicture> draw(std::shared_ptr<MpvRenderer> renderer, int width,
                                            int height);
  DrawnPicture(int width, int height) : width_(width), height_(height) {}

  /// The player is about to go on: what has not been begun is not drawn any more.
  void forgo();
  /// Returns false, with the target untouched, unless it is drawn and has the target's size.
  bool copyTo(const PixelBuffer& target) const;

 private:
  enum class State { waiting, drawing, drawn, forgone };

  void drawFrom(MpvRenderer& renderer);
  std::size_t stride() const { return static_cast<std::size_t>(width_) * 4; }

  const int width_;
  const int height_;
  std::atomic<State> state_ = State::waiting;
  std::vector<std::byte> pixels_;  // the drawing thread's; once drawn, constant
};

}  // namespace tavrin
