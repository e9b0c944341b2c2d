#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Load/MainLoop.hpp"
#include "Tavrin/Architecture/Store.hpp"
#include "Tavrin/Feature/VideoFeature.hpp"

namespace tavrin::load {

/// Somebody who goes through a workout, and tells what there was to see. Main thread only.
class Viewer {
 public:
  static constexpr const char* wholeVideo = "played to its end";
  static constexpr const char* plays = "plays";

  explicit Viewer(const std::vector<Media>& workout);
  ~Viewer();
  Viewer(const Viewer&) = delete;
  Viewer& operator=(const Viewer&) = delete;

  /// Steps to the item at a position and watches it until it ends, fails, or nothing moves any
  /// more.
  std::string show(std::int64_t index);
  /// Steps to the item at a position and looks whether it plays at all.
  std::string glance(std::int64_t index);
  /// Watches on, in the same way.
  std::string watchOn();
  /// Whether the last look ended with an item that neither ended nor failed.
  bool isWaiting() const { return isWaiting_; }

  /// Ends playback. Returns how long that took, until the player was gone, in milliseconds.
  double release();

  // For what hosts do.
  const VideoFeatureState& state() const { return store_.state(); }
  std::shared_ptr<AVPlayer> player() const { return store_.state().player(); }
  void keep(Observation observation) { kept_.push_back(std::move(observation)); }

  double longestBlockMilliseconds() const { return loop_.longestBlockMilliseconds(); }

 private:
  struct Events;

  void send(VideoFeature::BusinessAction action);
  std::string stepTo(std::int64_t index);
  bool hasPicture();
  std::string outcome(double from);

  MainLoop loop_;
  Store<VideoFeature> store_;
  std::vector<Observation> kept_;
  std::shared_ptr<AVPlayerItem> item_;
  std::shared_ptr<Events> events_;
  bool isWaiting_ = false;
  std::vector<std::byte> pixels_;
};

}  // namespace tavrin::load
