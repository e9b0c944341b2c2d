// What the cache costs: memory, disk, many managers, long workouts.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <vector>

#include "Benchmarks/Figures.hpp"
#include "Benchmarks/Timing.hpp"
#include "Tavrin/Architecture/Store.hpp"
#include "Tavrin/Cache/VideoCacheManager.hpp"
#include "Tavrin/Feature/VideoFeature.hpp"
#include "Tavrin/Foundation/FileManager.hpp"
#include "Tavrin/Testing/Await.hpp"
#include "Tavrin/Testing/SampleMedia.hpp"
#include "Tavrin/Testing/ScriptedEngine.hpp"
#include "Tavrin/Testing/TemporaryDirectory.hpp"

namespace {

using namespace tavrin;
using namespace tavrin::benchmarks;
using Business = VideoFeature::BusinessAction;
namespace fs = std::filesystem;

constexpr std::int64_t bodySize = 256 << 20;

// The cache directory that the managers made meanwhile use.
struct CacheDirectory {
  CacheDirectory() {
    setenv("XDG_CACHE_HOME", root.path().c_str(), 1);
    fs::create_directory(path());
  }
  fs::path path() const { return root.path() / "VideoCache"; }
  void add(const std::string& name, const std::string& contents) const {
    std::ofstream(path() / name) << contents;
  }

  tavrin::testing::TemporaryDirectory root;
};

Data largeBody() {
  Data data;
  const auto bytes = data.resize(bodySize);
  for (std::size_t i = 0; i < bytes.size(); i += 8) bytes[i] = static_cast<std::byte>(i >> 12);
  return data;
}

template <class Call>
double bestMilliseconds(int rounds, Call&& call) {
  double best = 1e12;
  for (int i = 0; i < rounds; ++i) {
    const auto start = Clock::now();
    call();
    best = std::min(best, millisecondsSince(start));
  }
  return best;
}

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

// Reads the file as plainly as can be.
void plainRead(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY);
  struct stat info{};
  fstat(file, &info);
  const auto size = static_cast<std::size_t>(info.st_size);
  const std::unique_ptr<char, void (*)(void*)> bytes(static_cast<char*>(std::malloc(size)),
                                                     std::free);
  std::size_t filled = 0;
  while (filled < size) {
    const auto got = read(file, bytes.get() + filled, size - filled);
    if (got <= 0) std::abort();
    filled += static_cast<std::size_t>(got);
  }
  close(file);
}

void reading(Figures& figures) {
  const CacheDirectory directory;
  const auto video = tavrin::testing::video("a");
  if (FileManager::write(largeBody(), directory.path(), "a.mp4")) std::abort();
  const auto manager = VideoCacheManager::make();
  const auto path = (directory.path() / "a.mp4").string();
  plainRead(path);  // into the page cache
  const auto plain = bestMilliseconds(7, [&] { plainRead(path); });
  const auto item =
      bestMilliseconds(7, [&] { manager->returnVideoFromArr(*video.url, "video/mp4"); });
  figures.report("cache.read_ratio", item / plain, "x of read(2), 256 MiB", atMost(1.2));
}

void writing(Figures& figures) {
  const CacheDirectory directory;
  const auto data = largeBody();
  const auto source = (directory.root.path() / "source").string();
  const auto target = (directory.root.path() / "target").string();
  if (FileManager::write(data, directory.root.path(), "source")) std::abort();
  const auto dd = "dd if=" + source + " of=" + target + " bs=1M conv=fsync status=none";
  // One after the other in each round, so that both meet the same disk.
  std::vector<double> ratios;
  for (int round = 0; round < 5; ++round) {
    fs::remove(target);
    fs::remove(directory.path() / "a.mp4");
    const auto peer = bestMilliseconds(1, [&] {
      if (std::system(dd.c_str()) != 0) std::abort();
    });
    const auto own = bestMilliseconds(1, [&] {
      if (FileManager::write(data, directory.path(), "a.mp4")) std::abort();
    });
    ratios.push_back(own / peer);
  }
  std::ranges::sort(ratios);
  figures.report("cache.write_ratio", ratios[ratios.size() / 2], "x of dd conv=fsync, 256 MiB",
                 atMost(1.2));
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
  if (figures.isWanted("cache.read_ratio")) reading(figures);
  if (figures.isWanted("cache.write_ratio")) writing(figures);
  if (figures.isWanted("cache.managers_growth")) manyManagers(figures);
  if (figures.isWanted("effect.")) longWorkouts(figures);
  return figures.exitStatus();
}
