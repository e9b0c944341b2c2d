#include "Tavrin/Dependency/VideoCacheManager.hpp"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <utility>

#include "Platform/Foundation/FatalError.hpp"
#include "Platform/Foundation/FileManager.hpp"

namespace tavrin {

namespace {

// Empty, so that every file operation fails, when the user has no caches directory.
std::string cacheDirectory() {
  const auto caches = FileManager::cachesDirectory();
  return caches ? *caches + "/VideoCache" : "";
}

// One write, so that the lines of several downloads stay whole.
void printLine(const std::string& line) {
  static_cast<void>(std::fputs((line + "\n").c_str(), stdout));
  static_cast<void>(std::fflush(stdout));
}

template <class Items, class Predicate>
Items takeIf(Items& items, Predicate&& isTaken) {
  Items taken;
  std::ranges::copy_if(items, std::back_inserter(taken), isTaken);
  std::erase_if(items, isTaken);
  return taken;
}

// Once for each directory: what killed writes have left comes from earlier processes.
void removeStaleFilesOnce(const std::string& directory) {
  static Mutex mutex;
  static auto* swept = new std::vector<std::string>;
  {
    const LockGuard lock(mutex);
    if (std::ranges::find(*swept, directory) != swept->end()) return;
    swept->push_back(directory);
  }
  FileManager::removeStaleTemporaryFiles(directory);
}

}  // namespace

std::shared_ptr<VideoCacheManager> VideoCacheManager::make() {
  return std::shared_ptr<VideoCacheManager>(new VideoCacheManager);
}

VideoCacheManager::VideoCacheManager() : cacheDirectory_(cacheDirectory()) {
  if (cacheDirectory_.empty()) return;
  if (!FileManager::fileExists(cacheDirectory_)) {
    if (const auto error = FileManager::createDirectory(cacheDirectory_)) {
      debugAssertionFailure(error->description);
    }
  }
  removeStaleFilesOnce(cacheDirectory_);
}

VideoCacheManager::~VideoCacheManager() {
  NamedItems cached;
  NamedItems streamable;
  {
    const LockGuard lock(mutex_);
    cached.swap(cachedItems_);
    streamable.swap(streamableItems_);
  }
  cached.clear();
  streamable.clear();
}

void VideoCacheManager::saveVideosToCache(const std::optional<URL>& video, std::string_view) {
  if (!video) return;
  auto name = video->lastPathComponent();
  const auto file = cacheFile(name);
  if (file && FileManager::fileExists(*file)) return;
  const auto item = CachingPlayerItem::make(*video);
  {
    const LockGuard lock(mutex_);
    streamableItems_.push_back({std::move(name), item});
  }
  item->setDelegate(shared_from_this());
  item->download();
}

std::shared_ptr<AVPlayerItem> VideoCacheManager::returnVideoFromArr(const URL& video,
                                                                    const std::string& mimeType) {
  const auto name = video.lastPathComponent();
  std::shared_ptr<CachingPlayerItem> prepared;
  std::shared_ptr<CachingPlayerItem> downloading;
  {
    // Both at once: a download that ends after this has its file by then, or is held here.
    const LockGuard lock(mutex_);
    prepared = firstMatch(cachedItems_, name);
    if (!prepared) downloading = firstMatch(streamableItems_, name);
  }
  if (prepared && prepared->status() == AVPlayerItem::Status::failed) {
    return AVPlayerItem::make(video);
  }
  if (prepared) return prepared;
  const auto file = cacheFile(name);
  if (file && FileManager::fileExists(*file)) {
    if (auto data = FileManager::contents(*file)) {
      return CachingPlayerItem::make(*std::move(data), mimeType, name);
    }
    return AVPlayerItem::make(video);
  }
  if (downloading) return downloading;
  return AVPlayerItem::make(video);
}

void VideoCacheManager::prepareFirstTwoVideos(const std::optional<Media>& currentVideo,
                                              const std::optional<Media>& nextVideo) {
  const bool canGoOn = prepare(currentVideo, Place::back, Duplicates::allowed);
  if (canGoOn) prepare(nextVideo, Place::back, Duplicates::skipped);
}

void VideoCacheManager::onSkipForwardPrepare(const std::optional<Media>& prevVideo,
                                             const std::optional<Media>& nextVideo) {
  drop(prevVideo);
  prepare(nextVideo, Place::back, Duplicates::skipped);
}

void VideoCacheManager::onSkipBackPrepare(const std::optional<Media>& prevVideo,
                                          const std::optional<Media>& nextVideo) {
  drop(nextVideo);
  prepare(prevVideo, Place::front, Duplicates::skipped);
}

// Returns false when the video is on disk but cannot be read.
bool VideoCacheManager::prepare(const std::optional<Media>& video, Place place,
                                Duplicates duplicates) {
  if (!video || !video->url) return true;
  const auto name = video->url->lastPathComponent();
  const auto file = cacheFile(name);
  if (!file || !FileManager::fileExists(*file)) return true;
  const auto isPrepared = [&]() TAVRIN_REQUIRES(mutex_) {
    return duplicates == Duplicates::skipped && firstMatch(cachedItems_, name) != nullptr;
  };
  {
    const LockGuard lock(mutex_);
    if (isPrepared()) return true;
  }
  auto data = FileManager::contents(*file);
  if (!data) return false;
  NamedItem made{name, CachingPlayerItem::make(*std::move(data), video->mimeType.rawValue, name)};
  const LockGuard lock(mutex_);
  if (isPrepared()) return true;  // another call has been quicker
  const auto at = place == Place::front ? cachedItems_.begin() : cachedItems_.end();
  cachedItems_.insert(at, std::move(made));
  return true;
}

void VideoCacheManager::drop(const std::optional<Media>& video) {
  if (!video || !video->url) return;
  const auto name = video->url->lastPathComponent();
  NamedItems dropped;  // released after the lock
  const LockGuard lock(mutex_);
  dropped = takeIf(cachedItems_, [&](const NamedItem& each) { return each.name == name; });
}

void VideoCacheManager::playerItemDidFinishDownloadingData(CachingPlayerItem& item,
                                                           const Data& data) {
  const auto name = item.url().absoluteURL().lastPathComponent();
  const auto file = cacheFile(name);
  if (!file || FileManager::write(data, cacheDirectory_, name)) return;
  removeStreamable(item);
  printLine("--> " + item.url().absoluteString() + " removed");
}

void VideoCacheManager::playerItemDownloadingFailedWith(CachingPlayerItem& item,
                                                        const Error& error) {
  printLine("--> " + item.url().absoluteString() + " downoload failed, " + error.description);
  removeStreamable(item);
}

void VideoCacheManager::removeStreamable(const CachingPlayerItem& item) {
  NamedItems removed;  // released after the lock
  const LockGuard lock(mutex_);
  removed =
      takeIf(streamableItems_, [&](const NamedItem& each) { return each.item.get() == &item; });
}

VideoCacheManager::Items VideoCacheManager::cachedItems() const {
  const LockGuard lock(mutex_);
  return itemsOf(cachedItems_);
}

VideoCacheManager::Items VideoCacheManager::streamableItems() const {
  const LockGuard lock(mutex_);
  return itemsOf(streamableItems_);
}

VideoCacheManager::Items VideoCacheManager::itemsOf(const NamedItems& items) {
  Items result;
  for (const auto& each : items) result.push_back(each.item);
  return result;
}

std::shared_ptr<CachingPlayerItem> VideoCacheManager::firstMatch(const NamedItems& items,
                                                                 const std::string& name) {
  const auto found = std::ranges::find(items, name, &NamedItem::name);
  return found == items.end() ? nullptr : found->item;
}

// Absent for a name that is no plain file's: decoded from an address, it can be anything, and a
// path made of it could lead out of the directory.
std::optional<std::string> VideoCacheManager::cacheFile(const std::string& name) const {
  constexpr std::string_view forbidden("/\0", 2);
  if (cacheDirectory_.empty() || name.empty() || name == "." || name == ".." ||
      name.find_first_of(forbidden) != std::string::npos || FileManager::isTemporaryName(name)) {
    return std::nullopt;
  }
  return cacheDirectory_ + "/" + name;
}

}  // namespace tavrin
