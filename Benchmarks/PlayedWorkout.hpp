#pragma once

#include <chrono>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Benchmarks/CacheDirectory.hpp"
#include "Benchmarks/Playback.hpp"
#include "Benchmarks/Timing.hpp"
#include "Tavrin/Architecture/Store.hpp"
#include "Tavrin/Feature/VideoFeature.hpp"
#include "Tavrin/Media/AVPlayer.hpp"
#include "Tavrin/Testing/LinkSimulator.hpp"
#include "Tavrin/Testing/RangeServer.hpp"

namespace tavrin::benchmarks {

/// A workout of videos with different names, all the same clip, in a cache directory of its own.
class PlayedWorkout {
 public:
  using Link = testing::LinkSimulator::Settings;

  PlayedWorkout(int count, bool isCached, std::string_view behaviour = "plain",
                const std::string& clip = clips + "/squats.mp4", std::optional<Link> link = {}) {
    if (link) link_.emplace(server.port(), *link);
    const auto bytes = contents(clip);
    const testing::HTTPResource served{.body = testing::shareBytes(bytes)};
    for (int i = 0; i < count; ++i) {
      server.serve("/" + nameOf(i), served, behaviour);
      if (isCached) cache.add(nameOf(i), bytes);
    }
    open(count);
  }
  /// All of them cached, each by another name of its file. The files lie on the cache's disk.
  explicit PlayedWorkout(const std::vector<std::filesystem::path>& files) {
    int count = 0;
    for (const auto& file : files) cache.link(nameOf(count++), file);
    open(count);
  }
  ~PlayedWorkout() {
    send(VideoFeature::BusinessAction::playerDeinit());
    store_.reset();
  }

  void send(VideoFeature::BusinessAction action) {
    store_->send(VideoFeatureAction::business(std::move(action)));
  }
  void sendStep(std::int64_t index, bool isBack = false) {
    send(VideoFeature::BusinessAction::setMedia(
        SetMediaValues(state().media()[index].id, isBack, true)));
  }
  const VideoFeatureState& state() const { return store_->state(); }
  std::shared_ptr<AVPlayer> player() const { return state().player(); }

  /// Where a path of the server is, over the link if there is one.
  URL url(const std::string& path) const { return link_ ? link_->url(path) : server.url(path); }
  /// How many of the videos have been kept.
  std::int64_t countKept() const {
    return std::distance(std::filesystem::directory_iterator(cache.path()), {});
  }

  /// Draws, as a host does, and returns the item that the picture is of.
  std::shared_ptr<AVPlayerItem> draw() {
    const auto current = player();
    if (!current) return nullptr;
    const auto load = current->engine().draw({pixels_.data(), width, height, width * 4});
    return load ? current->item(*load) : nullptr;
  }

  /// Goes on for a time, with each picture drawn as it comes.
  void playOn(std::chrono::nanoseconds time) {
    pumpUntil(
        [this] {
          watchPictures();
          if (std::exchange(*hasNewPicture_, false)) draw();
          return false;
        },
        time);
  }

  /// Steps, and returns the milliseconds until a host has drawn the first picture of the new item.
  std::optional<double> step(std::int64_t index, bool isBack = false) {
    const auto old = player() ? player()->currentItem() : nullptr;
    watchPictures();
    const auto start = Clock::now();
    sendStep(index, isBack);
    const bool isShown = pumpUntil([&] {
      watchPictures();
      if (!std::exchange(*hasNewPicture_, false)) return false;
      const auto shown = draw();
      return shown && shown != old;
    });
    return isShown ? std::optional(millisecondsSince(start)) : std::nullopt;
  }

  /// Steps to one item after the other, each while the one before it plays, for as long as `pause`.
  /// The times as `step` tells them; no number for one without a picture.
  std::vector<double> steps(const std::vector<std::int64_t>& indices,
                            std::chrono::nanoseconds pause) {
    std::vector<double> times;
    std::int64_t last = 0;
    for (const auto index : indices) {
      times.push_back(step(index, index < last).value_or(std::nan("")));
      playOn(pause);
      last = index;
    }
    return times;
  }

  testing::RangeServer server;
  const CacheDirectory cache;

 private:
  static constexpr int width = 640;
  static constexpr int height = 360;

  static std::string nameOf(int index) { return std::to_string(index) + ".mp4"; }

  void open(int count) {
    std::vector<std::optional<Media>> media;
    for (int i = 0; i < count; ++i) {
      media.emplace_back(Media{UUID::random(), url("/" + nameOf(i)), {"video/mp4"}, true});
    }
    store_.emplace(VideoFeatureState(std::move(media)), VideoFeature());
    send(VideoFeature::BusinessAction::prepareMedia());
    pumpUntil([&] { return state().managerId().has_value(); });
  }

  // A host draws when there is a new picture, and only then.
  void watchPictures() {
    if (player() == watched_) return;
    watched_ = player();
    *hasNewPicture_ = true;  // one may have come before
    watched_->engine().setPictureHandler(
        [flag = hasNewPicture_] { DispatchQueue::main().async([flag] { *flag = true; }); });
  }

  std::optional<testing::LinkSimulator> link_;
  std::optional<Store<VideoFeature>> store_;
  std::shared_ptr<AVPlayer> watched_;
  std::shared_ptr<bool> hasNewPicture_ = std::make_shared<bool>(false);  // main queue only
  std::vector<std::byte> pixels_ = std::vector<std::byte>(std::size_t{width} * height * 4);
};

}  // namespace tavrin::benchmarks
