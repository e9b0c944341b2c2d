#include "Tavrin/Item/CachingPlayerItem.hpp"

#include <utility>

#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/Foundation/FatalError.hpp"
#include "Tavrin/Foundation/NotificationCenter.hpp"
#include "Tavrin/Item/Internal/CachingPlayerItemResourceLoader.hpp"
#include "Tavrin/Item/Internal/DownloadedBody.hpp"
#include "Tavrin/Media/AVAssetResourceLoader.hpp"

namespace tavrin {

namespace {

constexpr std::string_view cachingPlayerItemScheme = "cachingPlayerItemScheme";

std::optional<URL> withScheme(const URL& url, std::string_view scheme) {
  auto components = URLComponents::split(url);
  if (!components) return std::nullopt;
  components->scheme = scheme;
  return components->url();
}

}  // namespace

std::shared_ptr<CachingPlayerItem> CachingPlayerItem::make(const URL& url, ResponseTest accepts,
                                                           std::string directory) {
  auto scheme = url.scheme();
  const auto assetURL = withScheme(url, cachingPlayerItemScheme);
  if (!scheme || !assetURL) fatalError("Urls without a scheme are not supported");
  return make(url, std::move(scheme), *assetURL,
              ResourceLoaderDelegate::make(std::move(accepts), std::move(directory)));
}

std::shared_ptr<CachingPlayerItem> CachingPlayerItem::make(Data data, std::string mimeType,
                                                           std::string_view lastPathComponents) {
  const auto url = URL::parse(std::string(cachingPlayerItemScheme) + "://cachedVideo/" +
                              URL::percentEncode(lastPathComponents));
  if (!url) fatalError("internal inconsistency");
  const AVAssetResourceEnd end{data.count(), std::nullopt};
  auto loader = ResourceLoaderDelegate::make();
  loader->setMediaData(std::move(data));
  loader->setPlayingFromData(true);
  loader->setMimeType(std::move(mimeType));
  auto item = make(*url, std::nullopt, *url, std::move(loader));
  item->asset()->resourceLoader()->setEnd(end);
  return item;
}

std::shared_ptr<CachingPlayerItem> CachingPlayerItem::make(
    const std::shared_ptr<AVURLAsset>&, const std::optional<std::vector<std::string>>&) {
  fatalError("not implemented");
}

std::shared_ptr<CachingPlayerItem> CachingPlayerItem::make(
    URL url, std::optional<std::string> initialScheme, const URL& assetURL,
    std::shared_ptr<ResourceLoaderDelegate> loader) {
  const std::shared_ptr<CachingPlayerItem> item(
      new CachingPlayerItem(std::move(url), std::move(initialScheme), assetURL, std::move(loader)));
  // The asset knows the loader as a part of the item: while a request is being delivered the item
  // cannot go, and once it has gone no request is delivered.
  item->asset()->resourceLoader()->setDelegate(
      std::shared_ptr<AVAssetResourceLoaderDelegate>(item, item->resourceLoaderDelegate_.get()),
      DispatchQueue::main());
  item->resourceLoaderDelegate_->setOwner(item);
  item->observers().add(item, "status");
  NotificationCenter::defaultCenter().addObserver<CachingPlayerItem>(
      item, [](CachingPlayerItem& self) { self.playbackStalledHandler(); },
      AVPlayerItemPlaybackStalled, item);
  return item;
}

CachingPlayerItem::CachingPlayerItem(URL url, std::optional<std::string> initialScheme,
                                     const URL& assetURL,
                                     std::shared_ptr<ResourceLoaderDelegate> loader)
    : AVPlayerItem(AVURLAsset::make(assetURL)),
      resourceLoaderDelegate_(std::move(loader)),
      initialScheme_(std::move(initialScheme)),
      url_(std::move(url)) {}

CachingPlayerItem::~CachingPlayerItem() {
  NotificationCenter::defaultCenter().removeObserver(this);
  observers().remove(this, "status");
  if (const auto session = resourceLoaderDelegate_->session()) session->invalidateAndCancel();
  // An engine may hold the asset for longer; whoever reads it must not wait for bytes any more.
  asset()->resourceLoader()->setEnd({0, Error{"The item has been released"}});
}

std::int64_t CachingPlayerItem::memoryLimit() { return DownloadedBody::memoryLimit(); }

void CachingPlayerItem::setMemoryLimit(std::int64_t bytes) {
  DownloadedBody::setMemoryLimit(bytes);
}

void CachingPlayerItem::download() { resourceLoaderDelegate_->startDataRequestOnce(url_); }

void CachingPlayerItem::setTurn(Turn turn) { resourceLoaderDelegate_->setTurn(turn); }

DownloadProgress CachingPlayerItem::progress() const { return resourceLoaderDelegate_->progress(); }

std::shared_ptr<CachingPlayerItemDelegate> CachingPlayerItem::delegate() const {
  const LockGuard lock(mutex_);
  return delegate_.lock();
}

void CachingPlayerItem::setDelegate(const std::shared_ptr<CachingPlayerItemDelegate>& delegate) {
  const LockGuard lock(mutex_);
  delegate_ = delegate;
}

void CachingPlayerItem::playbackStalledHandler() {
  if (const auto told = delegate()) told->playerItemPlaybackStalled(*this);
}

void CachingPlayerItem::observeValue(std::string_view) {
  if (const auto told = delegate()) told->playerItemReadyToPlay(*this);
}

}  // namespace tavrin
