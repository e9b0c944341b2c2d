// Plays the videos at the addresses given, each one round after the other: the smallest host.
#include <cstdio>
#include <memory>
#include <optional>
#include <vector>

#include "Tavrin/Architecture/Store.hpp"
#include "Tavrin/Feature/VideoFeature.hpp"
#include "Tavrin/Foundation/NotificationCenter.hpp"
#include "Tavrin/Mpv/MpvEngine.hpp"

using namespace tavrin;
using Business = VideoFeature::BusinessAction;

namespace {

struct Host {
  explicit Host(std::vector<std::optional<Media>> workout)
      : store(VideoFeatureState(std::move(workout)), VideoFeature()) {}

  void send(Business action) { store.send(VideoFeatureAction::business(std::move(action))); }
  // The item named is the one shown; the position follows by itself.
  void show(std::int64_t position) {
    const auto& media = store.state().media();
    if (position < media.count()) {
      send(Business::setMedia(SetMediaValues(media[position].id, false, false)));
    } else {
      send(Business::playerDeinit());
      DispatchQueue::main().stop();
    }
  }

  Store<VideoFeature> store;
  std::int64_t shown = 0;
};

void showNext(Host& host) { host.show(++host.shown); }

}  // namespace

int main(int count, char** addresses) {
  MediaEngine::setFactory([](std::weak_ptr<MediaEngine::Listener> listener) {
    MpvEngineOptions options;
    options.sound = MpvEngineOptions::Sound::none;  // the default plays on the sound device
    return makeMpvEngine(std::move(listener), options);
  });

  std::vector<std::optional<Media>> workout;
  for (int i = 1; i < count; ++i) {
    if (const auto url = URL::parse(addresses[i]); url && url->scheme()) {
      workout.emplace_back(Media(UUID::random(), url, {"video/mp4"}));
    }
  }
  const auto host = std::make_shared<Host>(std::move(workout));

  const auto& state = host->store.state();
  const auto telling = state.currentMedia.observe([&] {
    const auto& current = state.currentMedia();
    if (current) std::printf("showing %s\n", current->url->absoluteString().c_str());
  });
  // The first item is shown when the cache is there: a step before that finds no cache.
  const auto starting = state.managerId.observe([&] { host->show(0); });
  NotificationCenter::defaultCenter().addObserver(host, showNext, AVPlayerItemDidPlayToEndTime);

  host->send(Business::prepareMedia());
  DispatchQueue::main().run();
}
