#pragma once

#include <atomic>

#include "Tavrin/Foundation/Mutex.hpp"
#include "Tavrin/Media/MediaEngine.hpp"
#include "Tavrin/Mpv/Internal/Bell.hpp"
#include "Tavrin/Mpv/Internal/Turning.hpp"

struct mpv_handle;
struct mpv_render_context;

namespace tavrin {

/// What draws the pictures of one libmpv player. It may outlive the player; it draws nothing then.
class MpvRenderer {
 public:
  /// Rings the bell, from libmpv's threads, when there is a picture to take. The bell must be there
  /// until `end`.
  explicit MpvRenderer(Bell& bell) : bell_(bell) {}
  ~MpvRenderer() { end(); }
  MpvRenderer(const MpvRenderer&) = delete;
  MpvRenderer& operator=(const MpvRenderer&) = delete;

  /// To be called once, before the player's first load, which would otherwise open without a
  /// picture. Returns libmpv's error code, 0 for none.
  int start(mpv_handle* player);
  /// To be called before the player ends. Waits for a picture that is being drawn.
  void end();

  /// Makes a new picture, if there is one, the current one, and returns whether there was one.
  /// libmpv waits for this: it must come soon after the bell. The engine's thread.
  bool takePicture();
  /// How far the pictures of the open file are turned from now on. Any thread.
  void setTurn(Turn turn);
  /// Draws the current picture. Any thread.
  bool draw(const PixelBuffer& target);
  /// The same for a player that stands still. The engine's thread does not wait for it: a picture
  /// that comes meanwhile is taken afterwards. Any thread, one at a time.
  bool drawAside(const PixelBuffer& target);

 private:
  bool drawTurned(const PixelBuffer& target) TAVRIN_REQUIRES(mutex_);
  bool render(const PixelBuffer& target) TAVRIN_REQUIRES(mutex_);

  Bell& bell_;
  std::atomic<bool> drawsAside_ = false;
  Mutex mutex_;  // libmpv takes one call to a renderer at a time
  mpv_render_context* context_ TAVRIN_GUARDED_BY(mutex_) = nullptr;  // owned
  Turn turn_ TAVRIN_GUARDED_BY(mutex_) = Turn::none;
  TurningSurface turning_ TAVRIN_GUARDED_BY(mutex_);
};

}  // namespace tavrin
