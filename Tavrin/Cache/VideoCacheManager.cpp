#include "Tavrin/Cache/VideoCacheManager.hpp"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <utility>

#include "Tavrin/Foundation/FatalError.hpp"
#include "Tavrin/Foundation/FileManager.hpp"
#include "Tavrin/Foundation/PrintableText.hpp"

namespace tavrin {

namespace {

// A video that was asked for longer ago has been dropped.
constexpr std::size_t expectedNamesLimit = 4;

// Empty, so that every file operation fails, when the user has no caches directory.
std::string cacheDirectory() {
  const auto caches = FileManager::cachesDirectory();
  return caches ? *caches + "/VideoCache" : "";
}

// One write, so that the lines of several downloads stay whole. What a server or an address says
// may forge neither lines nor a terminal's commands.
void printLine(const std::string& line) {
  static_cast<void>(std::fputs((printable(line) + "\n").c_str(), stdout));
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

std::shared_ptr<VideoCacheManager> VideoCacheManager::make(VideoCacheSettings settings) {
  return std::shared_ptr<VideoCacheManager>(new VideoCacheManager(std::move(settings)));
}

VideoCacheManager::VideoCacheManager(VideoCacheSettings settings)
    : settings_(std::move(settings)), cacheDirectory_(cacheDirectory()) {
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
  tellUpcomingObservers();
}

void VideoCacheManager::saveVideosToCache(const std::optional<URL>& video, std::string_view) {
  if (!video) return;
  auto name = video->lastPathComponent();
  const auto file = cacheFile(name);
  if (file && FileManager::fileExists(*file)) return;
  const auto item = CachingPlayerItem::make(*video, settings_.accepts, cacheDirectory_);
  auto turn = CachingPlayerItem::Turn::later;
  {
    const LockGuard lock(mutex_);
    turn = turnOf(name);
    streamableItems_.push_back({std::move(name), item});
  }
  item->setTurn(turn);
  item->setDelegate(shared_from_this());
  item->download();
}

std::shared_ptr<AVPlayerItem> VideoCacheManager::returnVideoFromArr(const URL& video,
                                                                    const std::string& mimeType) {
  auto item = findItem(video, mimeType);
  item->setUpcoming(weak_from_this());
  {
    const LockGuard lock(mutex_);
    currentName_ = video.lastPathComponent();
  }
  hastenDownloads();
  return item;
}

std::shared_ptr<AVPlayerItem> VideoCacheManager::findItem(const URL& video,
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
  if (prepared && prepared->status() == AVPlayerItemStatus::failed) {
    return AVPlayerItem::make(video, settings_.accepts);
  }
  if (prepared) return prepared;
  const auto file = cacheFile(name);
  if (file && FileManager::fileExists(*file)) {
    if (auto data = FileManager::open(*file)) {
      return CachingPlayerItem::make(*std::move(data), mimeType, name);
    }
    return AVPlayerItem::make(video, settings_.accepts);
  }
  if (downloading) return downloading;
  return AVPlayerItem::make(video, settings_.accepts);
}

void VideoCacheManager::prepareFirstTwoVideos(const std::optional<Media>& currentVideo,
                                              const std::optional<Media>& nextVideo) {
  const bool canGoOn = prepare(currentVideo, Place::back, Duplicates::allowed);
  if (canGoOn) prepare(nextVideo, Place::back, Duplicates::skipped);
  expectNext(currentVideo);
  expectNext(nextVideo);
}

void VideoCacheManager::onSkipForwardPrepare(const std::optional<Media>& prevVideo,
                                             const std::optional<Media>& nextVideo) {
  drop(prevVideo);
  prepare(nextVideo, Place::back, Duplicates::skipped);
  expectNext(nextVideo);
}

void VideoCacheManager::onSkipBackPrepare(const std::optional<Media>& prevVideo,
                                          const std::optional<Media>& nextVideo) {
  drop(nextVideo);
  prepare(prevVideo, Place::front, Duplicates::skipped);
  expectNext(prevVideo);
}

// Returns false when the video is on disk but cannot be opened.
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
  auto data = FileManager::open(*file);
  if (!data) return false;
  FileManager::readAhead(*data);
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

// Also told when there is no next video: what was dropped is upcoming no more.
void VideoCacheManager::expectNext(const std::optional<Media>& video) {
  if (video && video->url) {
    auto name = video->url->lastPathComponent();
    const LockGuard lock(mutex_);
    std::erase(expectedNames_, name);
    expectedNames_.insert(expectedNames_.begin(), std::move(name));
    if (expectedNames_.size() > expectedNamesLimit) expectedNames_.pop_back();
  }
  tellUpcomingObservers();
}

// As long as none has been handed out, they are downloaded in the order in which they were saved.
CachingPlayerItem::Turn VideoCacheManager::turnOf(const std::string& name) const {
  using Turn = CachingPlayerItem::Turn;
  if (currentName_.empty()) return Turn::later;
  if (name == currentName_) return Turn::current;
  const bool isNext = !expectedNames_.empty() && name == expectedNames_.front();
  return isNext ? Turn::next : Turn::later;
}

// Those of the current video and of the next one come before the rest.
void VideoCacheManager::hastenDownloads() {
  std::vector<std::pair<std::shared_ptr<CachingPlayerItem>, CachingPlayerItem::Turn>> downloading;
  {
    const LockGuard lock(mutex_);
    for (const auto& [name, item] : streamableItems_) {
      downloading.emplace_back(item, turnOf(name));
    }
  }
  for (const auto& [item, turn] : downloading) item->setTurn(turn);
}

std::vector<std::shared_ptr<AVURLAsset>> VideoCacheManager::upcomingAssets() const {
  Items items;
  {
    const LockGuard lock(mutex_);
    for (const auto& name : expectedNames_) {
      if (auto item = firstMatch(cachedItems_, name)) items.push_back(std::move(item));
    }
  }
  std::vector<std::shared_ptr<AVURLAsset>> assets;
  for (const auto& item : items) {
    if (item->status() != AVPlayerItemStatus::failed) assets.push_back(item->asset());
  }
  return assets;
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

std::vector<VideoDownload> VideoCacheManager::downloads() const {
  std::vector<VideoDownload> downloads;
  for (const auto& item : streamableItems()) downloads.push_back({item->url(), item->progress()});
  return downloads;
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
