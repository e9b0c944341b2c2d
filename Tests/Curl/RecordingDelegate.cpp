#include "Tests/Curl/RecordingDelegate.hpp"

#include <chrono>

#include "Tavrin/Foundation/DispatchQueue.hpp"

namespace tavrin::testing {

class RecordingDelegate::Call {
 public:
  explicit Call(RecordingDelegate& delegate) : delegate_(delegate) {
    if (delegate_.running_.fetch_add(1) != 0) delegate_.note("calls overlap");
    if (DispatchQueue::main().isCurrent()) delegate_.note("a call on the main queue");
    const LockGuard lock(delegate_.mutex_);
    ++delegate_.calls_;
    delegate_.changed_.notify_all();
  }
  ~Call() { --delegate_.running_; }
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

 private:
  RecordingDelegate& delegate_;
};

void RecordingDelegate::urlSession(URLSession& session, URLSessionDataTask&,
                                   const URLResponse& response,
                                   const CompletionHandler& completionHandler) {
  const Call call(*this);
  if (countEnds() > 0) note("a response after the end");
  completionHandler(onResponse ? onResponse(session) : ResponseDisposition::allow);
  const LockGuard lock(mutex_);
  responses_.push_back(response);
  changed_.notify_all();
}

void RecordingDelegate::urlSession(URLSession& session, URLSessionDataTask&, const Data& chunk) {
  const Call call(*this);
  if (countResponses() == 0) note("a chunk before the response");
  if (countEnds() > 0) note("a chunk after the end");
  if (onChunk) onChunk(session);
  const LockGuard lock(mutex_);
  body_ += chunk.text();
  changed_.notify_all();
}

void RecordingDelegate::urlSession(URLSession& session, URLSessionDataTask&,
                                   const std::optional<Error>& error) {
  const Call call(*this);
  if (onEnd) onEnd(session);
  const LockGuard lock(mutex_);
  ends_.push_back(error);
  changed_.notify_all();
}

void RecordingDelegate::note(const std::string& wrong) {
  const LockGuard lock(mutex_);
  misconduct_ += wrong + "; ";
}

bool RecordingDelegate::waitForEnds() const {
  return waitUntil([&]() TAVRIN_REQUIRES(mutex_) { return !ends_.empty(); });
}

bool RecordingDelegate::waitForCalls(std::size_t count) const {
  return waitUntil([&]() TAVRIN_REQUIRES(mutex_) { return calls_ >= count; });
}

bool RecordingDelegate::waitUntil(const std::function<bool()>& done) const {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  const LockGuard lock(mutex_);
  while (!done()) {
    if (changed_.wait_until(mutex_, deadline) == std::cv_status::timeout) return done();
  }
  return true;
}

std::string RecordingDelegate::body() const {
  const LockGuard lock(mutex_);
  return body_;
}

std::size_t RecordingDelegate::countResponses() const {
  const LockGuard lock(mutex_);
  return responses_.size();
}

std::size_t RecordingDelegate::countEnds() const {
  const LockGuard lock(mutex_);
  return ends_.size();
}

std::size_t RecordingDelegate::countCalls() const {
  const LockGuard lock(mutex_);
  return calls_;
}

URLResponse RecordingDelegate::response() const {
  const LockGuard lock(mutex_);
  return responses_.empty() ? URLResponse{} : responses_.back();
}

std::string RecordingDelegate::error() const {
  const LockGuard lock(mutex_);
  return ends_.empty() || !ends_.back() ? std::string() : ends_.back()->description;
}

std::optional<ErrorCode> RecordingDelegate::code() const {
  const LockGuard lock(mutex_);
  return ends_.empty() || !ends_.back() ? std::nullopt : std::optional(ends_.back()->code);
}

std::string RecordingDelegate::misconduct() const {
  const LockGuard lock(mutex_);
  return misconduct_;
}

}  // namespace tavrin::testing
