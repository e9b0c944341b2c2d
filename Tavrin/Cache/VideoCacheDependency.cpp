#include "Tavrin/Cache/VideoCacheDependency.hpp"

#include <utility>

#include "Tavrin/Cache/Internal/VideoCacheManagerStorage.hpp"

namespace tavrin {

namespace {

using ManagerId = VideoCacheDependency::ManagerId;
using Video = VideoCacheDependency::Video;

// Made by the first live operation, once however many race, and kept until the process ends.
VideoCacheManagerStorage& storage() {
  static auto* const instance = new VideoCacheManagerStorage;
  return *instance;
}

namespace live {

Task<UUID> create(VideoCacheSettings settings) {
  ContinueOn hop(Executor::shared());
  co_await hop;
  const auto id = UUID::random();
  storage().store(id, std::move(settings));
  co_return id;
}

Task<void> destroy(ManagerId id) {
  ContinueOn hop(Executor::shared());
  co_await hop;
  storage().remove(id);
}

Task<void> saveVideosToCache(ManagerId id, std::optional<URL> video, std::string mimeType) {
  ContinueOn hop(Executor::shared());
  co_await hop;
  if (const auto manager = storage().manager(id)) manager->saveVideosToCache(video, mimeType);
}

Task<std::shared_ptr<AVPlayerItem>> returnVideoFromArr(ManagerId id, URL video,
                                                       std::string mimeType) {
  ContinueOn hop(Executor::shared());
  co_await hop;
  const auto manager = storage().manager(id);
  if (!manager) co_return nullptr;
  co_return manager->returnVideoFromArr(video, mimeType);
}

// The three preparing operations differ only in what they call.
template <void (VideoCacheManager::*operation)(const Video&, const Video&)>
Task<void> prepare(ManagerId id, Video first, Video second) {
  ContinueOn hop(Executor::shared());
  co_await hop;
  if (const auto manager = storage().manager(id)) (*manager.*operation)(first, second);
}

}  // namespace live

namespace test {

Task<UUID> create() { co_return UUID::random(); }
Task<void> destroy(ManagerId) { co_return; }
Task<void> saveVideosToCache(ManagerId, std::optional<URL>, std::string) { co_return; }
Task<void> prepare(ManagerId, Video, Video) { co_return; }

Task<std::shared_ptr<AVPlayerItem>> returnVideoFromArr(ManagerId, URL, std::string) {
  co_return CachingPlayerItem::make(*URL::parse("test:test"));
}

}  // namespace test

}  // namespace

std::vector<VideoDownload> runningDownloads(const std::optional<UUID>& managerId) {
  const auto manager = storage().manager(managerId);
  return manager ? manager->downloads() : std::vector<VideoDownload>();
}

VideoCacheDependency VideoCacheDependencyKey::liveValue() { return liveValue({}); }

VideoCacheDependency VideoCacheDependencyKey::liveValue(VideoCacheSettings settings) {
  return {[settings = std::move(settings)] { return live::create(settings); },
          live::destroy,
          live::saveVideosToCache,
          live::returnVideoFromArr,
          live::prepare<&VideoCacheManager::prepareFirstTwoVideos>,
          live::prepare<&VideoCacheManager::onSkipForwardPrepare>,
          live::prepare<&VideoCacheManager::onSkipBackPrepare>};
}

VideoCacheDependency VideoCacheDependencyKey::testValue() {
  return {test::create,
          test::destroy,
          test::saveVideosToCache,
          test::returnVideoFromArr,
          test::prepare,
          test::prepare,
          test::prepare};
}

std::shared_ptr<const VideoCacheDependency> videoManager(const DependencyValues& values) {
  return values.get<VideoCacheDependencyKey>();
}

void setVideoManager(DependencyValues& values, VideoCacheDependency client) {
  values.set<VideoCacheDependencyKey>(std::move(client));
}

}  // namespace tavrin
