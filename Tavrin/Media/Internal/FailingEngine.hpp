#pragma once

#include <memory>
#include <string>
#include <utility>

#include "Tavrin/Media/MediaEngine.hpp"

namespace tavrin {

/// Stands in for an engine that could not be made: each load with an asset fails, and says why.
class FailingEngine final : public MediaEngine {
 public:
  FailingEngine(std::weak_ptr<Listener> listener, std::string reason)
      : listener_(std::move(listener)), reason_(std::move(reason)) {}

  void load(LoadId load, std::shared_ptr<AVURLAsset> asset) override;
  void setPlaying(bool) override {}
  void seek(CMTime time, std::function<void(bool)> completion) override;
  void setMuted(bool) override {}
  void setWaitsToMinimizeStalling(bool) override {}
  CMTime currentTime() const override { return CMTime::zero; }
  void setPictureHandler(std::function<void()>) override {}
  std::optional<LoadId> draw(const PixelBuffer&) override { return std::nullopt; }

 private:
  const std::weak_ptr<Listener> listener_;
  const std::string reason_;
};

}  // namespace tavrin
