#include "App/CacheWatch.hpp"

#include <utility>

#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/Foundation/FileManager.hpp"

namespace tavrin::app {

namespace {

TraceValue text(const std::optional<UUID>& id) {
  return id ? TraceValue(id->text()) : TraceValue();
}

TraceValue text(const std::optional<Media>& media) {
  return media && media->url ? TraceValue(media->url->absoluteString()) : TraceValue();
}

bool isInMemory(const AVPlayerItem& item) {
  return item.asset()->url().absoluteString().starts_with("cachingPlayerItemScheme://cachedVideo/");
}

const char* sourceOf(const std::shared_ptr<AVPlayerItem>& item, bool wasPrepared) {
  if (!item) return "none";
  if (isInMemory(*item)) return wasPrepared ? "memory" : "disk";
  const auto& address = item->asset()->url().absoluteString();
  return address.starts_with("cachingPlayerItemScheme") ? "download" : "stream";
}

}  // namespace

CacheWatch::CacheWatch(VideoCacheDependency cache, std::shared_ptr<Trace> trace,
                       std::function<void()> saved)
    : cache_(std::move(cache)),
      trace_(std::move(trace)),
      saved_(std::move(saved)),
      directory_(FileManager::cachesDirectory().value_or("") + "/VideoCache/") {}

std::shared_ptr<CacheWatch> CacheWatch::make(VideoCacheDependency cache,
                                             std::shared_ptr<Trace> trace,
                                             std::function<void()> saved) {
  return std::shared_ptr<CacheWatch>(
      new CacheWatch(std::move(cache), std::move(trace), std::move(saved)));
}

VideoCacheDependency CacheWatch::client() {
  const auto self = shared_from_this();
  const auto preparing = [&](const char* name, const Preparation& preparation) {
    return [self, name, preparation](ManagerId id, Video first, Video second) {
      return prepare(self, name, preparation, id, std::move(first), std::move(second));
    };
  };
  return {.create = [self] { return create(self); },
          .destroy = [self](ManagerId id) { return destroy(self, id); },
          .saveVideosToCache =
              [self](ManagerId id, std::optional<URL> video, std::string mimeType) {
                return save(self, id, std::move(video), std::move(mimeType));
              },
          .returnVideoFromArr =
              [self](ManagerId id, URL video, std::string mimeType) {
                return hand(self, id, std::move(video), std::move(mimeType));
              },
          .prepareFirstTwoVideos = preparing("prepareFirstTwoVideos", cache_.prepareFirstTwoVideos),
          .onSkipForwardPrepare = preparing("onSkipForwardPrepare", cache_.onSkipForwardPrepare),
          .onSkipBackPrepare = preparing("onSkipBackPrepare", cache_.onSkipBackPrepare)};
}

Task<UUID> CacheWatch::create(std::shared_ptr<CacheWatch> self) {
  auto creating = self->cache_.create();
  const UUID id = co_await creating;
  self->trace_->write(Trace::Kind::cache, "create", {{"result", id.text()}});
  co_return id;
}

Task<void> CacheWatch::destroy(std::shared_ptr<CacheWatch> self, ManagerId id) {
  auto destroying = self->cache_.destroy(id);
  co_await destroying;
  {
    const LockGuard lock(self->mutex_);
    self->prepared_.clear();
  }
  self->trace_->write(Trace::Kind::cache, "destroy", {{"id", text(id)}});
}

Task<void> CacheWatch::save(std::shared_ptr<CacheWatch> self, ManagerId id,
                            std::optional<URL> video, std::string mimeType) {
  const bool isNew = video && !self->isOnDisk(video->lastPathComponent());
  auto saving = self->cache_.saveVideosToCache(id, video, mimeType);
  co_await saving;
  self->trace_->write(Trace::Kind::cache, "saveVideosToCache",
                      {{"id", text(id)},
                       {"video", video ? TraceValue(video->absoluteString()) : TraceValue()},
                       {"mimeType", mimeType},
                       {"isOnDisk", !isNew}});
  if (isNew) self->noteDownload(*video);
  DispatchQueue::main().async(self->saved_);
}

Task<CacheWatch::Item> CacheWatch::hand(std::shared_ptr<CacheWatch> self, ManagerId id, URL video,
                                        std::string mimeType) {
  auto handing = self->cache_.returnVideoFromArr(id, video, mimeType);
  Item item = co_await handing;
  self->trace_->write(Trace::Kind::cache, "returnVideoFromArr",
                      {{"id", text(id)},
                       {"video", video.absoluteString()},
                       {"mimeType", mimeType},
                       {"result", sourceOf(item, self->isPrepared(video))}});
  self->noteItem(video, item);
  co_return item;
}

Task<void> CacheWatch::prepare(std::shared_ptr<CacheWatch> self, const char* name,
                               Preparation preparation, ManagerId id, Video first, Video second) {
  auto preparing = preparation(id, first, second);
  co_await preparing;
  self->notePreparation(name, first, second);
  self->trace_->write(Trace::Kind::cache, name,
                      {{"id", text(id)}, {"first", text(first)}, {"second", text(second)}});
}

bool CacheWatch::isOnDisk(const std::string& name) const {
  return FileManager::fileExists(directory_ + name);
}

bool CacheWatch::isPrepared(const URL& video) const {
  const LockGuard lock(mutex_);
  return prepared_.contains(video.lastPathComponent());
}

void CacheWatch::noteDownload(const URL& video) {
  trace_->write(Trace::Kind::download, "started", {{"video", video.absoluteString()}});
  const LockGuard lock(mutex_);
  downloading_.emplace(video.lastPathComponent(), Clock::now());
}

// Follows what the cache does with its prepared videos: a step takes in the nearest one ahead in
// its direction, and lets go of the one two away on the other side.
void CacheWatch::notePreparation(const std::string& operation, const Video& first,
                                 const Video& second) {
  const LockGuard lock(mutex_);
  if (operation == "onSkipForwardPrepare") {
    drop(first);
    keep(second);
  } else if (operation == "onSkipBackPrepare") {
    drop(second);
    keep(first);
  } else {
    keep(first);
    keep(second);
  }
}

void CacheWatch::keep(const Video& video) {
  if (!video || !video->url) return;
  const auto name = video->url->lastPathComponent();
  if (isOnDisk(name)) prepared_.insert(name);
}

void CacheWatch::drop(const Video& video) {
  if (video && video->url) prepared_.erase(video->url->lastPathComponent());
}

void CacheWatch::noteItem(const URL& video, const Item& item) {
  if (!item || !isInMemory(*item)) return;
  const LockGuard lock(mutex_);
  handedOut_[video.lastPathComponent()] = item;
}

CacheState CacheWatch::state(const URL& video) const {
  const auto name = video.lastPathComponent();
  {
    const LockGuard lock(mutex_);
    const auto handedOut = handedOut_.find(name);
    const bool isHeld = handedOut != handedOut_.end() && !handedOut->second.expired();
    if (isHeld || prepared_.contains(name)) return CacheState::inMemory;
  }
  return isOnDisk(name) ? CacheState::onDisk : CacheState::streaming;
}

std::vector<std::string> CacheWatch::takeStored() {
  std::map<std::string, Clock::time_point> stored;
  {
    const LockGuard lock(mutex_);
    for (auto each = downloading_.begin(); each != downloading_.end();) {
      const auto next = std::next(each);
      if (isOnDisk(each->first)) stored.insert(downloading_.extract(each));
      each = next;
    }
  }
  std::vector<std::string> names;
  for (const auto& [name, start] : stored) {
    const std::chrono::duration<double> took = Clock::now() - start;
    trace_->write(Trace::Kind::download, "stored", {{"name", name}, {"seconds", took.count()}});
    names.push_back(name);
  }
  return names;
}

}  // namespace tavrin::app
