#include "Tavrin/Media/Internal/StreamRequest.hpp"

namespace tavrin {

namespace {

// Apart from the request, for a session keeps its delegate and the request keeps the session.
class Delegate final : public URLSessionDataDelegate {
 public:
  Delegate(std::uint64_t number, std::weak_ptr<StreamReceiver> receiver)
      : number_(number), receiver_(std::move(receiver)) {}

  void urlSession(URLSession&, URLSessionDataTask&, const URLResponse& response,
                  const CompletionHandler& completionHandler) override {
    const auto receiver = receiver_.lock();
    const bool isWanted = receiver && receiver->streamResponded(number_, response);
    completionHandler(isWanted ? ResponseDisposition::allow : ResponseDisposition::cancel);
  }
  void urlSession(URLSession&, URLSessionDataTask&, const Data& chunk) override {
    if (const auto receiver = receiver_.lock()) receiver->streamReceived(number_, chunk);
  }
  void urlSession(URLSession&, URLSessionDataTask&, const std::optional<Error>& error) override {
    if (const auto receiver = receiver_.lock()) receiver->streamEnded(number_, error);
  }

 private:
  const std::uint64_t number_;
  const std::weak_ptr<StreamReceiver> receiver_;
};

}  // namespace

StreamRequest::StreamRequest(const URLRequest& request, std::uint64_t number,
                             const std::weak_ptr<StreamReceiver>& receiver)
    : session_(URLSession::make({}, std::make_shared<Delegate>(number, receiver))),
      task_(session_->dataTask(request)) {
  task_->setPriority(URLSessionDataTask::highPriority);  // somebody watches what streams
}

StreamRequest::~StreamRequest() { session_->invalidateAndCancel(); }

// The task is called without the lock, so two threads may call it in the wrong order: whoever calls
// looks again afterwards, and the last call agrees with the last wish.
void StreamRequest::setHeld(bool held) {
  {
    const LockGuard lock(mutex_);
    isHeld_ = held;
  }
  for (;;) {
    if (held) {
      task_->suspend();
    } else {
      task_->resume();
    }
    const LockGuard lock(mutex_);
    if (isHeld_ == held) return;
    held = isHeld_;
  }
}

}  // namespace tavrin
