#include "Tavrin/Curl/CurlDataTask.hpp"

#include <utility>

#include "Tavrin/Curl/DeliveryThreads.hpp"

namespace tavrin::curl {

namespace {

// More than one, because a turn costs more than a call; bounded, because other sessions wait.
constexpr int callsATurn = 8;

}  // namespace

std::shared_ptr<CurlDataTask> CurlDataTask::make(std::shared_ptr<CurlSession> session,
                                                 std::shared_ptr<Transfer> transfer,
                                                 const TransferLimits& limits) {
  return std::shared_ptr<CurlDataTask>(
      new CurlDataTask(std::move(session), std::move(transfer), limits));
}

void CurlDataTask::resume() {
  const auto suspended = takeSuspended();
  // Once it has started the delegate may suspend it again, at any moment.
  if (!isStarted_.exchange(true)) {
    transfer_->start(shared_from_this());
  } else if (suspended) {
    scheduleTurn();
  }
}

// What has come stays in the inbox, and the transfer waits once that is full. It may also have
// ended, and then keeps the task no more.
void CurlDataTask::suspend() {
  const LockGuard lock(mutex_);
  if (!isCancelled_) suspended_ = shared_from_this();
}

bool CurlDataTask::isSuspended() const {
  const LockGuard lock(mutex_);
  return suspended_ != nullptr;
}

std::shared_ptr<CurlDataTask> CurlDataTask::takeSuspended() {
  const LockGuard lock(mutex_);
  return std::exchange(suspended_, nullptr);
}

void CurlDataTask::setPriority(double priority) {
  const auto before = this->priority();
  URLSessionDataTask::setPriority(priority);
  if (this->priority() != before) transfer_->setPriority(this->priority());
}

void CurlDataTask::cancel() {
  {
    const LockGuard lock(mutex_);
    isCancelled_ = true;
  }
  const auto self = takeSuspended();
  inbox_.drop();
  transfer_->stop();
}

void CurlDataTask::transferReceived(const URLResponse& response) {
  if (inbox_.put(response)) scheduleTurn();
}

bool CurlDataTask::transferReceived(std::span<const std::byte> bytes) {
  const auto put = inbox_.put(bytes);
  // After the turn, for a turn brings several pieces, and the wake-up costs more than a piece.
  if (put.mustWake) {
    TransferThread::shared().afterTurn([self = shared_from_this()] { self->scheduleTurn(); });
  }
  return !put.isFull;
}

void CurlDataTask::transferEnded(const std::optional<Error>& error) {
  if (inbox_.put(Inbox::End{error})) scheduleTurn();
}

void CurlDataTask::scheduleTurn() {
  session_->queue().post([self = shared_from_this()] { self->takeTurn(); });
}

// The delegate is held for the turn, so that an invalidation from inside its call leaves it whole.
void CurlDataTask::takeTurn() {
  const auto delegate = session_->delegate();
  if (delegate == nullptr) return;
  for (int i = 0; i < callsATurn; ++i) {
    if (isSuspended() || DeliveryThreads::shared().isStopping()) return;
    const auto* event = inbox_.take();
    if (event == nullptr) return;
    deliver(*delegate, *event);
    const auto rest = inbox_.finish();
    if (rest.wantsMore) transfer_->proceed();
    if (!rest.hasMore) return;
  }
  scheduleTurn();
}

void CurlDataTask::deliver(URLSessionDataDelegate& delegate, const Inbox::Event& event) {
  if (const auto* response = std::get_if<URLResponse>(&event)) {
    if (deliverResponse(delegate, *response)) return;
    cancel();
    if (session_->delegate() == nullptr) return;
    deliverEnd(delegate, Error{ErrorCode::cancelled, "the transfer was cancelled"});
  } else if (const auto* chunk = std::get_if<Data>(&event)) {
    delegate.urlSession(*session_, *this, *chunk);
  } else {
    deliverEnd(delegate, std::get<Inbox::End>(event).error);
  }
}

bool CurlDataTask::deliverResponse(URLSessionDataDelegate& delegate, const URLResponse& response) {
  using Disposition = URLSessionDataDelegate::ResponseDisposition;
  const auto answer = std::make_shared<Disposition>(Disposition::cancel);
  delegate.urlSession(*session_, *this, response,
                      [answer](Disposition disposition) { *answer = disposition; });
  return *answer == Disposition::allow;
}

void CurlDataTask::deliverEnd(URLSessionDataDelegate& delegate, const std::optional<Error>& error) {
  delegate.urlSession(*session_, *this, error);
}

}  // namespace tavrin::curl
