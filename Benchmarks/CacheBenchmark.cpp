// What the cache costs where it has much to look after: many managers, long workouts.

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "Benchmarks/CacheDirectory.hpp"
#include "Benchmarks/Figures.hpp"
#include "Benchmarks/Timing.hpp"
#include "Tavrin/Architecture/Store.hpp"
#include "Tavrin/Cache/VideoCacheManager.hpp"
#include "Tavrin/Feature/VideoFeature.hpp"
#include "Tavrin/Testing/Await.hpp"
#include "Tavrin/Testing/SampleMedia.hpp"
#include "Tavrin/Testing/ScriptedEngine.hpp"

namespace {

using namespace tavrin;
using namespace tavrin::benchmarks;
using Business = VideoFeature::BusinessAction;

void prepared(Figures& figures) {
  const CacheDirectory directory;
  const auto video = tavrin::testing::video("a");
  directory.add("a.mp4", "bytes");
  const auto manager = VideoCacheManager::make();
  manager->prepareFirstTwoVideos(video, std::nullopt);
  const auto time = medianNanoseconds(
      100'000, [&] { manager->returnVideoFromArr(*video.url, video.mimeType.rawValue); });
  figures.report("cache.prepared_us", time / 1000, "us", atMost(2));
}

// Milliseconds to create managers, prepare ten items in each, step and destroy them.
double managers(int count, const std::vector<Media>& videos) {
  const auto client = VideoCacheDependencyKey::liveValue();
  const auto start = Clock::now();
  std::vector<UUID> ids;
  for (int i = 0; i < count; ++i) {
    ids.push_back(tavrin::testing::await(client.create()));
    for (std::size_t v = 0; v < 10; v += 2) {
      tavrin::testing::await(client.prepareFirstTwoVideos(ids.back(), videos[v], videos[v + 1]));
    }
  }
  for (const auto& id : ids) {
    tavrin::testing::await(client.onSkipForwardPrepare(id, videos[0], videos[10]));
  }
  for (const auto& id : ids) tavrin::testing::await(client.destroy(id));
  return millisecondsSince(start);
}

void manyManagers(Figures& figures) {
  const CacheDirectory directory;
  std::vector<Media> videos;
  for (int i = 0; i <= 10; ++i) {
    directory.add(std::to_string(i) + ".mp4", std::string(10'000, 'x'));
    videos.push_back(tavrin::testing::video(std::to_string(i)));
  }
  managers(100, videos);
  const auto few = managers(250, videos);
  const auto many = managers(1000, videos);
  figures.report("cache.managers_growth", many / (4 * few), "x linear, 250 to 1,000 managers",
                 atMost(1.25));
}

// Milliseconds from a first action until the condition holds, the main queue pumped meanwhile.
template <class Condition>
double until(Store<VideoFeature>& store, Business action, Condition&& condition) {
  const auto start = Clock::now();
  store.send(VideoFeatureAction::business(std::move(action)));
  if (!DispatchQueue::main().runUntil(condition, std::chrono::seconds(60))) std::abort();
  return millisecondsSince(start);
}

void longWorkouts(Figures& figures) {
  tavrin::testing::ScriptedEngine::install();
  const CacheDirectory directory;
  double prepare = 0;
  double steps[2] = {};
  for (const int count : {10, 10'000}) {
    std::vector<std::optional<Media>> media;
    for (int i = 0; i < count; ++i) {
      const auto name = std::to_string(i);
      directory.add(name + ".mp4", "bytes");
      media.emplace_back(tavrin::testing::video(name));
    }
    bool isPrepared = false;
    auto client = VideoCacheDependencyKey::liveValue();
    // Saving the last video is the last thing that preparing does.
    client.saveVideosToCache = [&, save = client.saveVideosToCache, saved = 0](
                                   std::optional<UUID> id, std::optional<URL> url,
                                   std::string type) mutable {
      if (++saved == count) DispatchQueue::main().async([&] { isPrepared = true; });
      return save(id, std::move(url), std::move(type));
    };
    const auto feature =
        withDependencies([&](DependencyValues& values) { setVideoManager(values, client); },
                         [] { return VideoFeature(); });
    Store<VideoFeature> store{VideoFeatureState(media), feature};
    prepare = until(store, Business::prepareMedia(), [&] { return isPrepared; });
    std::vector<double> times;
    for (int i = 0; i < 501; ++i) {
      const auto& target = *media[static_cast<std::size_t>(i % count)];
      times.push_back(until(store, Business::setMedia(SetMediaValues(target.id, false, true)), [&] {
        return store.state().currentMedia() == target && store.state().player() &&
               store.state().player()->isPlaying();
      }));
    }
    std::ranges::sort(times);
    steps[count == 10 ? 0 : 1] = times[times.size() / 2];
    until(store, Business::playerDeinit(), [&] { return store.state().player() == nullptr; });
  }
  figures.report("effect.prepare_ms", prepare, "ms, 10,000 cached media", atMost(1000));
  figures.report("effect.step_growth", steps[1] / steps[0], "x at 10,000 media", atMost(1.3));
}

}  // namespace

int main(int argc, char** argv) {
  Figures figures(argc, argv);
  if (figures.isWanted("cache.prepared_us")) prepared(figures);
  if (figures.isWanted("cache.managers_growth")) manyManagers(figures);
  if (figures.isWanted("effect.")) longWorkouts(figures);
  return figures.exitStatus();
}
