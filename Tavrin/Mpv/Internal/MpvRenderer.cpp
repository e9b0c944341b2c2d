#include "Tavrin/Mpv/Internal/MpvRenderer.hpp"

#include <mpv/render.h>

#include <utility>

namespace tavrin {

namespace {

void ringBell(void* bell) { static_cast<Bell*>(bell)->ring(); }

}  // namespace

int MpvRenderer::start(mpv_handle* player) {
  char api[] = MPV_RENDER_API_TYPE_SW;
  mpv_render_param parameters[] = {{MPV_RENDER_PARAM_API_TYPE, api}, {}};
  const LockGuard lock(mutex_);
  const int code = mpv_render_context_create(&context_, player, parameters);
  if (code >= 0) mpv_render_context_set_update_callback(context_, ringBell, &bell_);
  return code;
}

void MpvRenderer::end() {
  const LockGuard lock(mutex_);
  if (auto* context = std::exchange(context_, nullptr)) mpv_render_context_free(context);
}

bool MpvRenderer::takePicture() {
  if (drawsAside_) return false;
  const LockGuard lock(mutex_);
  if (!(mpv_render_context_update(context_) & MPV_RENDER_UPDATE_FRAME)) return false;
  mpv_render_frame_info info{};
  mpv_render_context_get_info(context_, {MPV_RENDER_PARAM_NEXT_FRAME_INFO, &info});
  int skip = 1;
  int block = 0;
  mpv_render_param parameters[] = {{MPV_RENDER_PARAM_SKIP_RENDERING, &skip},
                                   {MPV_RENDER_PARAM_BLOCK_FOR_TARGET_TIME, &block},
                                   {}};
  mpv_render_context_render(context_, parameters);
  return !(info.flags & MPV_RENDER_FRAME_INFO_REDRAW);
}

void MpvRenderer::setTurn(Turn turn) {
  const LockGuard lock(mutex_);
  turn_ = turn;
}

bool MpvRenderer::draw(const PixelBuffer& target) {
  const LockGuard lock(mutex_);
  return drawTurned(target);
}

bool MpvRenderer::drawAside(const PixelBuffer& target) {
  const LockGuard lock(mutex_);
  drawsAside_ = true;
  const bool isDrawn = drawTurned(target);
  drawsAside_ = false;
  if (context_) bell_.ring();
  return isDrawn;
}

bool MpvRenderer::drawTurned(const PixelBuffer& target) {
  if (!context_) return false;
  if (turn_ == Turn::none) return render(target);
  const auto surface = turning_.before(turn_, target);
  if (!render(surface)) return false;
  copyTurned(surface, turn_, target);
  return true;
}

bool MpvRenderer::render(const PixelBuffer& target) {
  int size[] = {target.width, target.height};
  char format[] = "rgb0";
  auto stride = static_cast<std::size_t>(target.stride);
  int block = 0;
  mpv_render_param parameters[] = {{MPV_RENDER_PARAM_SW_SIZE, size},
                                   {MPV_RENDER_PARAM_SW_FORMAT, format},
                                   {MPV_RENDER_PARAM_SW_STRIDE, &stride},
                                   {MPV_RENDER_PARAM_SW_POINTER, target.pixels},
                                   {MPV_RENDER_PARAM_BLOCK_FOR_TARGET_TIME, &block},
                                   {}};
  return mpv_render_context_render(context_, parameters) >= 0;
}

}  // namespace tavrin
