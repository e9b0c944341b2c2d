#include "Tavrin/Item/Internal/CachingPlayerItemResourceLoader.hpp"

#include <algorithm>
#include <utility>
#include <vector>

#include "Tavrin/Foundation/FatalError.hpp"

namespace tavrin {

namespace {

using Loader = CachingPlayerItem::ResourceLoaderDelegate;

constexpr double watchedPriority = 1;
constexpr double currentPriority = 0.7;
constexpr double nextPriority = 0.6;
// How soon a reader asks again that has all it asked for. Its host's main queue may be busy.
constexpr std::chrono::seconds timeToAsk(1);

}  // namespace

std::shared_ptr<Loader> Loader::make(ResponseTest accepts, std::string directory) {
  return std::shared_ptr<ResourceLoaderDelegate>(
      new ResourceLoaderDelegate(std::move(accepts), std::move(directory)));
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
  updatePriority();
  const auto body = this->body();
  if (body && body->hasRoom()) goOn();  // it may have waited for others
  return true;
}

void Loader::resourceLoaderDidCancel(
    AVAssetResourceLoader&, const std::shared_ptr<AVAssetResourceLoadingRequest>& request) {
  {
    const LockGuard lock(mutex_);
    pendingRequests_.erase(request);
    awaitedUntil_ = {};
  }
  updatePriority();
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
  const auto task = session->dataTask(url);
  {
    const LockGuard lock(mutex_);
    task_ = task;
  }
  updatePriority();
  task->resume();
}

void Loader::setTurn(Turn turn) {
  {
    const LockGuard lock(mutex_);
    if (turn != Turn::current) awaitedUntil_ = {};  // its reader has been left
    turn_ = turn;
  }
  updatePriority();
}

double Loader::wantedPriority() const {
  if (!pendingRequests_.empty() || Clock::now() < awaitedUntil_) return watchedPriority;
  if (turn_ == Turn::current) return currentPriority;
  return turn_ == Turn::next ? nextPriority : URLSessionDataTask::defaultPriority;
}

// What was decided without the lock may be out of date once it is done, so it is looked at again.
void Loader::updatePriority() {
  for (bool isDone = false; !isDone;) {
    std::shared_ptr<URLSessionDataTask> task;
    double wanted = 0;
    {
      const LockGuard lock(mutex_);
      task = task_.lock();
      wanted = wantedPriority();
    }
    if (!task) return;
    task->setPriority(wanted);
    const LockGuard lock(mutex_);
    isDone = wanted == wantedPriority();
  }
}

void Loader::urlSession(URLSession&, URLSessionDataTask& task, const URLResponse& response,
                        const CompletionHandler& completionHandler) {
  if (accepts_ && !accepts_(response)) {
    {
      const LockGuard lock(mutex_);
      refusal_ = refusalOf(response);
    }
    return completionHandler(ResponseDisposition::cancel);
  }
  completionHandler(ResponseDisposition::allow);
  const auto body =
      DownloadedBody::make(directory_, response.expectedContentLength, [weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->goOn();
      });
  auto previous = body;  // let go without the lock
  {
    const LockGuard lock(mutex_);
    body_.swap(previous);
    response_ = response;
  }
  holdBack(task, *body);
  processPendingRequests();
}

void Loader::urlSession(URLSession& session, URLSessionDataTask& task, const Data& chunk) {
  // Before the bytes are given out: a reader that has just been satisfied asks for more.
  updatePriority();
  if (const auto body = this->body()) {
    if (const auto error = body->append(chunk.view())) {
      session.invalidateAndCancel();
      return fail(*error);
    }
    holdBack(task, *body);
  }
  processPendingRequests();
}

// The task may go on again before it is held back; then nobody else lets it.
void Loader::holdBack(URLSessionDataTask& task, DownloadedBody& body) {
  const auto mustWait = [&] {
    return !body.hasRoom() || (!isAwaited() && body.mustWaitForOthers());
  };
  if (!mustWait()) return;
  task.suspend();
  if (!mustWait()) task.resume();
}

// Readers have the bytes at once; the item's delegate has them once they are written.
void Loader::urlSession(URLSession&, URLSessionDataTask&, const std::optional<Error>& error) {
  if (error) return fail(refusal().value_or(*error));
  processPendingRequests();
  const auto body = this->body();
  if (!body) return fail(Error{"The download ended without a response"});
  if (const auto item = owner()) {
    item->asset()->resourceLoader()->setEnd({body->count(), std::nullopt});
  }
  body->finish([weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->handOver();
  });
}

void Loader::goOn() {
  std::shared_ptr<URLSessionDataTask> task;
  {
    const LockGuard lock(mutex_);
    task = task_.lock();
  }
  if (task) task->resume();
}

void Loader::handOver() {
  const auto item = owner();
  const auto body = this->body();
  if (!item || !body) return;
  const auto whole = body->whole();
  if (const auto told = item->delegate()) told->playerItemDidFinishDownloadingData(*item, whole);
}

void Loader::fail(const Error& error) {
  const auto item = owner();
  if (!item) return;
  const auto body = this->body();
  const auto received = body ? body->count() : 0;
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
    if (!fulfilled.empty()) awaitedUntil_ = Clock::now() + timeToAsk;
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
    request->contentLength = body_ ? body_->count() : 0;
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
  const auto count = body_ ? body_->count() : 0;
  if (count <= offset) return false;
  request.respond(body_->subdata(offset, std::min(count - offset, request.requestedLength)));
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

bool Loader::isAwaited() const {
  const LockGuard lock(mutex_);
  return !pendingRequests_.empty();
}

std::shared_ptr<DownloadedBody> Loader::body() const {
  const LockGuard lock(mutex_);
  return body_;
}

std::optional<Data> Loader::mediaData() const {
  const auto body = this->body();
  return body ? std::optional(body->whole()) : std::nullopt;
}

void Loader::setMediaData(std::optional<Data> mediaData) {
  auto body = mediaData ? DownloadedBody::of(*std::move(mediaData)) : nullptr;
  const LockGuard lock(mutex_);
  body_.swap(body);
}

DownloadProgress Loader::progress() const {
  const LockGuard lock(mutex_);
  DownloadProgress progress;
  if (body_) progress.received = body_->count();
  if (playingFromData_) {
    progress.expected = progress.received;
  } else if (response_ && response_->expectedContentLength >= 0) {
    progress.expected = response_->expectedContentLength;
  }
  return progress;
}

std::optional<Error> Loader::refusal() const {
  const LockGuard lock(mutex_);
  return refusal_;
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
