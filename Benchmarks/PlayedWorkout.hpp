#pragma once

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Benchmarks/Playback.hpp"
#include "Benchmarks/Timing.hpp"
#include "Tavrin/Architecture/Store.hpp"
#include "Tavrin/Feature/VideoFeature.hpp"
#include "Tavrin/Media/AVPlayer.hpp"
#include "Tavrin/Testing/LinkSimulator.hpp"
#include "Tavrin/Testing/RangeServer.hpp"
#include "Tavrin/Testing/TemporaryDirectory.hpp"

namespace tavrin::benchmarks {

/// A workout of videos with different names, all the same clip, in a cache directory of its own.
class PlayedWorkout {
 public:
  using Link = testing::LinkSimulator::Settings;

  PlayedWorkout(int count, bool isCached, std::string_view behaviour = "plain",
                const std::string& clip = clips + "/squats.mp4", std::optional<Link> link = {}) {
    if (link) link_.emplace(server.port(), *link);
    setenv("XDG_CACHE_HOME", cache_.path().c_str(), 1);
    std::filesystem::create_directory(cache_.path() / "VideoCache");
    const auto bytes = contents(clip);
    const testing::HTTPResource served{.body = testing::shareBytes(bytes)};
    std::vector<std::optional<Media>> media;
    for (int i = 0; i < count; ++i) {
      const auto name = std::to_string(i) + ".mp4";
      server.serve("/" + name, served, behaviour);
      if (isCached) std::ofstream(cache_.path() / "VideoCache" / name, std::ios::binary) << bytes;
      media.emplace_back(Media{UUID::random(), url("/" + name), {"video/mp4"}, true});
    }
    store_.emplace(VideoFeatureState(std::move(media)), VideoFeature());
    send(VideoFeature::BusinessAction::prepareMedia());
    pumpUntil([&] { return state().managerId().has_value(); });
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
    return std::distance(std::filesystem::directory_iterator(cache_.path() / "VideoCache"), {});
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

  testing::RangeServer server;

 private:
  static constexpr int width = 640;
  static constexpr int height = 360;

  // A host draws when there is a new picture, and only then.
  void watchPictures() {
    if (player() == watched_) return;
    watched_ = player();
    *hasNewPicture_ = true;  // one may have come before
    watched_->engine().setPictureHandler(
        [flag = hasNewPicture_] { DispatchQueue::main().async([flag] { *flag = true; }); });
  }

  testing::TemporaryDirectory cache_;
  std::optional<testing::LinkSimulator> link_;
  std::optional<Store<VideoFeature>> store_;
  std::shared_ptr<AVPlayer> watched_;
  std::shared_ptr<bool> hasNewPicture_ = std::make_shared<bool>(false);  // main queue only
  std::vector<std::byte> pixels_ = std::vector<std::byte>(std::size_t{width} * height * 4);
};

}  // namespace tavrin::benchmarks
