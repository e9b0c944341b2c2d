#include "Tavrin/CachingPlayerItemResourceLoader.hpp"

#include <algorithm>
#include <new>
#include <utility>
#include <vector>

#include "Platform/Foundation/FatalError.hpp"

namespace tavrin {

namespace {

using Loader = CachingPlayerItem::ResourceLoaderDelegate;

constexpr std::int64_t reservedBytesLimit = 256LL << 20;

// A header may promise anything; room beyond the limit is made as the bytes come.
Data makeBuffer(std::int64_t expectedLength) {
  Data buffer;
  try {
    if (expectedLength > 0) buffer.reserve(std::min(expectedLength, reservedBytesLimit));
  } catch (const std::bad_alloc&) {  // NOLINT: growing step by step may still do
  }
  return buffer;
}

}  // namespace

std::shared_ptr<Loader> Loader::make() {
  return std::shared_ptr<ResourceLoaderDelegate>(new ResourceLoaderDelegate);
}

Loader::~ResourceLoaderDelegate() {
  if (const auto open = session()) open->invalidateAndCancel();
}

bool Loader::resourceLoader(AVAssetResourceLoader&,
                            const std::shared_ptr<AVAssetResourceLoadingRequest>& request) {
  if (!session() && !playingFromData()) {
    const auto item = owner();
    if (!item) fatalError("internal inconsistency");
    startDataRequestOnce(item->url());
  }
  {
    const LockGuard lock(mutex_);
    pendingRequests_.insert(request);
  }
  processPendingRequests();
  return true;
}

void Loader::resourceLoaderDidCancel(
    AVAssetResourceLoader&, const std::shared_ptr<AVAssetResourceLoadingRequest>& request) {
  const LockGuard lock(mutex_);
  pendingRequests_.erase(request);
}

void Loader::startDataRequestOnce(const URL& url) {
  {
    const LockGuard lock(mutex_);
    if (playingFromData_ || session_ || std::exchange(isStarted_, true)) return;
  }
  startDataRequest(url);
}

void Loader::startDataRequest(const URL& url) {
  URLSessionConfiguration configuration;
  configuration.requestCachePolicy =
      URLSessionConfiguration::RequestCachePolicy::reloadIgnoringLocalAndRemoteCacheData;
  const auto session = URLSession::make(configuration, shared_from_this());
  setSession(session);
  session->dataTask(url)->resume();
}

void Loader::urlSession(URLSession&, URLSessionDataTask&, const URLResponse& response,
                        const CompletionHandler& completionHandler) {
  completionHandler(ResponseDisposition::allow);
  {
    const LockGuard lock(mutex_);
    mediaData_ = makeBuffer(response.expectedContentLength);
    response_ = response;
  }
  processPendingRequests();
}

void Loader::urlSession(URLSession& session, URLSessionDataTask&, const Data& chunk) {
  if (append(chunk)) return processPendingRequests();
  session.invalidateAndCancel();
  fail(Error{"Not enough memory to hold the video"});
}

void Loader::urlSession(URLSession&, URLSessionDataTask&, const std::optional<Error>& error) {
  if (error) return fail(*error);
  processPendingRequests();
  if (const auto body = mediaData()) {
    finish(*body);
  } else {
    fail(Error{"The download ended without a response"});
  }
}

bool Loader::append(const Data& chunk) {
  const LockGuard lock(mutex_);
  try {
    if (mediaData_) mediaData_->append(chunk.view());
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

void Loader::finish(const Data& body) {
  const auto item = owner();
  if (!item) return;
  item->asset()->resourceLoader()->setEnd({body.count(), std::nullopt});
  if (const auto told = item->delegate()) told->playerItemDidFinishDownloadingData(*item, body);
}

void Loader::fail(const Error& error) {
  const auto item = owner();
  if (!item) return;
  const auto received = mediaData().value_or(Data()).count();
  item->asset()->resourceLoader()->setEnd({received, error});
  if (const auto told = item->delegate()) told->playerItemDownloadingFailedWith(*item, error);
}

void Loader::processPendingRequests() {
  std::vector<std::shared_ptr<AVAssetResourceLoadingRequest>> fulfilled;
  {
    const LockGuard lock(mutex_);
    std::erase_if(pendingRequests_, [&](const auto& request) TAVRIN_REQUIRES(mutex_) {
      if (!answer(*request)) return false;
      fulfilled.push_back(request);
      return true;
    });
  }
  for (const auto& request : fulfilled) request->finishLoading();
}

bool Loader::answer(AVAssetResourceLoadingRequest& request) {
  const bool isInformed = fillIn(request.contentInformationRequest());
  return request.dataRequest() ? respond(*request.dataRequest()) : isInformed;
}

bool Loader::fillInContentInformationRequest(
    AVAssetResourceLoadingContentInformationRequest* request) {
  const LockGuard lock(mutex_);
  return fillIn(request);
}

bool Loader::fillIn(AVAssetResourceLoadingContentInformationRequest* request) {
  if (!playingFromData_ && !response_) return false;
  if (request == nullptr) return true;
  if (playingFromData_) {
    request->contentType = mimeType_;
    request->contentLength = mediaData_ ? mediaData_->count() : 0;
  } else {
    request->contentType = response_->mimeType;
    request->contentLength = response_->expectedContentLength;
  }
  request->isByteRangeAccessSupported = true;
  return true;
}

bool Loader::haveEnoughDataToFulfillRequest(AVAssetResourceLoadingDataRequest& request) {
  const LockGuard lock(mutex_);
  return respond(request);
}

bool Loader::respond(AVAssetResourceLoadingDataRequest& request) {
  const auto offset = request.currentOffset();
  if (!mediaData_ || mediaData_->count() <= offset) return false;
  const auto count = mediaData_->count();
  request.respond(mediaData_->subdata(offset, std::min(count - offset, request.requestedLength)));
  // The sum of a request's offset and length may be too large for a number.
  return count - request.requestedOffset >= request.requestedLength;
}

bool Loader::playingFromData() const {
  const LockGuard lock(mutex_);
  return playingFromData_;
}

void Loader::setPlayingFromData(bool playingFromData) {
  const LockGuard lock(mutex_);
  playingFromData_ = playingFromData;
}

std::optional<std::string> Loader::mimeType() const {
  const LockGuard lock(mutex_);
  return mimeType_;
}

void Loader::setMimeType(std::optional<std::string> mimeType) {
  const LockGuard lock(mutex_);
  mimeType_ = std::move(mimeType);
}

std::shared_ptr<URLSession> Loader::session() const {
  const LockGuard lock(mutex_);
  return session_;
}

void Loader::setSession(std::shared_ptr<URLSession> session) {
  const LockGuard lock(mutex_);
  session_.swap(session);  // an earlier one is let go without the lock
}

std::optional<Data> Loader::mediaData() const {
  const LockGuard lock(mutex_);
  return mediaData_;
}

void Loader::setMediaData(std::optional<Data> mediaData) {
  const LockGuard lock(mutex_);
  mediaData_ = std::move(mediaData);
}

std::optional<URLResponse> Loader::response() const {
  const LockGuard lock(mutex_);
  return response_;
}

Loader::PendingRequests Loader::pendingRequests() const {
  const LockGuard lock(mutex_);
  return pendingRequests_;
}

std::shared_ptr<CachingPlayerItem> Loader::owner() const {
  const LockGuard lock(mutex_);
  return owner_.lock();
}

void Loader::setOwner(const std::shared_ptr<CachingPlayerItem>& owner) {
  const LockGuard lock(mutex_);
  owner_ = owner;
}

}  // namespace tavrin
