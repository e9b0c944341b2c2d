#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "Tavrin/Foundation/Mutex.hpp"
#include "Tavrin/Media/MediaEngine.hpp"
#include "Tavrin/Mpv/Internal/DrawnPicture.hpp"
#include "Tavrin/Mpv/Internal/MpvLane.hpp"

namespace tavrin {

/// What a host sees of an engine: the newest load's picture, and that there is a new one.
class MpvStage {
 public:
  using LoadId = MediaEngine::LoadId;
  struct Size {
    int width = 0;   // pixels
    int height = 0;  // pixels
  };

  /// From here on nothing older is drawn. Any thread.
  void setNewest(LoadId load);
  void setPictureHandler(std::function<void()> handler);
  std::optional<LoadId> draw(const PixelBuffer& target);
  /// The size that the host has drawn in last; empty before. Any thread.
  Size hostSize() const;

  /// Draws from this lane from now on, if it has the newest load; from none, if it is absent. The
  /// engine's thread.
  void show(MpvLane* lane);
  /// The same for a lane with a new picture, which may have been drawn beforehand. Calls the
  /// picture handler.
  void showPicture(MpvLane* lane, std::shared_ptr<DrawnPicture> drawn = nullptr);

 private:
  Mutex handlerMutex_;
  std::function<void()> handler_ TAVRIN_GUARDED_BY(handlerMutex_);

  mutable Mutex mutex_;
  LoadId newest_ TAVRIN_GUARDED_BY(mutex_) = 0;
  MpvLane* lane_ TAVRIN_GUARDED_BY(mutex_) = nullptr;  // that has the newest load's picture
  std::shared_ptr<DrawnPicture> drawn_ TAVRIN_GUARDED_BY(mutex_);  // its picture, if it is that
  Size hostSize_ TAVRIN_GUARDED_BY(mutex_);
};

}  // namespace tavrin
