#include "Tavrin/Curl/Transfer.hpp"

#include <algorithm>
#include <cctype>
#include <utility>

#include "Tavrin/Curl/ResponseHead.hpp"
#include "Tavrin/Curl/TransferError.hpp"

namespace tavrin::curl {

namespace {

// A server that drops every connection that is held gets no more than this.
constexpr int mostRestarts = 5;
// Bytes. The system takes the least it can, a packet or two, as long as there is room for them.
constexpr std::int64_t heldWindow = 1;

}  // namespace

std::shared_ptr<Transfer> Transfer::make(const URLRequest& asked,
                                         const URLSessionConfiguration& configuration,
                                         const TransferLimits& limits) {
  return std::shared_ptr<Transfer>(new Transfer(asked, configuration, limits));
}

void Transfer::start(std::shared_ptr<TransferClient> client) {
  auto& thread = TransferThread::shared();
  if (!thread.start()) {
    return client->transferEnded(Error{ErrorCode::noMemory, "no thread can be started"});
  }
  thread.post([self = shared_from_this(), client = std::move(client)] { self->begin(client); });
}

void Transfer::stop() {
  TransferThread::shared().post([self = shared_from_this()] { self->leave(); });
}

void Transfer::setPriority(double priority) {
  TransferThread::shared().post([self = shared_from_this(), priority] {
    self->priority_ = priority;
    TransferThread::shared().line().setPriority(self->place_, priority);
  });
}

void Transfer::proceed() {
  TransferThread::shared().post([self = shared_from_this()] {
    if (self->isOver_ || !std::exchange(self->isFull_, false)) return;
    self->lastProgress_ = Clock::now();
    self->pauseOrGoOn();
  });
}

void Transfer::begin(std::shared_ptr<TransferClient> client) {
  if (isOver_) return;
  client_ = std::move(client);
  if (auto objection = unsupportedScheme()) return endWith(std::move(*objection));
  server_ = asked_.url.authority().value_or("");
  place_ = TransferThread::shared().line().add(shared_from_this(), server_, priority_);
}

void Transfer::open() {
  lastProgress_ = Clock::now();
  request_ = Request::make(asked_, configuration_, *this);
  if (request_ == nullptr) return endWith({ErrorCode::noMemory, "no transfer can be set up"});
  const auto added = TransferThread::shared().add(shared_from_this());
  if (added != CURLM_OK) endWith(Error{curl_multi_strerror(added)});
}

void Transfer::setHeld(bool isHeld) {
  isHeld_ = isHeld;
  wasHeld_ |= isHeld;
  lastProgress_ = Clock::now();
  setWindow();
  pauseOrGoOn();
}

void Transfer::setWindow() {
  request_->setWindow(isHeld_ ? std::optional(heldWindow) : window_.bytes(), window_.room());
}

// To go on may offer bytes from inside the call. Not from a callback.
void Transfer::pauseOrGoOn() {
  window_.goOn(lastProgress_);
  const int wanted = isFull_ || isHeld_ ? CURLPAUSE_RECV : CURLPAUSE_CONT;
  const auto result = curl_easy_pause(handle(), wanted);
  // Without a connection there is nothing to pause: that is done when the answer comes.
  if (result != CURLE_OK && result != CURLE_BAD_FUNCTION_ARGUMENT) complete(result);
}

// curl takes an address without a scheme for one of http.
std::optional<Error> Transfer::unsupportedScheme() const {
  auto scheme = asked_.url.scheme();
  if (!scheme) return Error{ErrorCode::badAddress, "the address has no scheme"};
  std::ranges::transform(*scheme, scheme->begin(),
                         [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (*scheme == "http" || *scheme == "https") return {};
  return Error{ErrorCode::badAddress, "the scheme \"" + *scheme + "\" is not supported"};
}

TransferThread::Clock::time_point Transfer::silentAt() const {
  return (isFull_ || isHeld_ ? Clock::now() : lastProgress_) + limits_.silence;
}

// What came while the transfer was held comes in one piece.
bool Transfer::receiveHeader(std::string_view lines) {
  wasHeld_ = isHeld_;
  while (!lines.empty()) {
    const auto end = lines.find('\n');
    const auto length = end == std::string_view::npos ? lines.size() : end + 1;
    if (!receiveLine(lines.substr(0, length))) return false;
    lines.remove_prefix(length);
  }
  return true;
}

bool Transfer::receiveLine(std::string_view line) {
  // What follows the response are the trailers of a chunked body.
  if (hasResponse_) return true;
  headBytes_ += std::ssize(line);
  if (headBytes_ > limits_.mostHeadBytes) {
    return fail({ErrorCode::badAnswer, "the head of the answer is too long"});
  }
  const bool isEnd = line == "\r\n" || line == "\n";
  return !isEnd || endHead();
}

bool Transfer::endHead() {
  auto head = ResponseHead::read(handle(), asked_, limits_);
  if (head.isRedirect()) {
    request_->followRedirect();
    headBytes_ = 0;
    lastProgress_ = Clock::now();
  }
  if (head.isInterim()) return true;
  if (head.objection) return fail(std::move(*head.objection));
  lastProgress_ = Clock::now();
  hasResponse_ = true;
  const auto known = TransferThread::shared().line().windowOf(server_);
  window_.begin(lastProgress_, request_->delay(), known);
  setWindow();
  TransferThread::shared().line().received(place_, 0);
  return tell(head.response);
}

// Whoever has heard a response counts on it, also after another start.
bool Transfer::tell(const URLResponse& response) {
  if (told_) {
    return *told_ == response || fail({ErrorCode::badAnswer, "the resource changed on its server"});
  }
  told_ = response;
  client_->transferReceived(response);
  return true;
}

bool Transfer::receiveBody(std::span<const std::byte> bytes) {
  lastProgress_ = Clock::now();
  // The body of a redirect that leads nowhere. curl itself drops that of one it follows.
  if (!hasResponse_) return false;
  TransferThread::shared().line().received(place_, std::ssize(bytes));
  receivedBytes_ += std::ssize(bytes);
  if (window_.received(std::ssize(bytes), lastProgress_)) {
    setWindow();
    TransferThread::shared().line().setWindow(server_, window_.bytes());
  }
  if (receivedBytes_ > limits_.mostBodyBytes) return fail(tooLargeError(limits_.mostBodyBytes));
  // Not by the callback's result, for which curl would copy what it has just read.
  if (!client_->transferReceived(bytes)) isFull_ = true;
  if (isFull_ || isHeld_) curl_easy_pause(handle(), CURLPAUSE_RECV);
  return true;
}

// What comes before the response is of a redirect.
bool Transfer::mayGoOn(std::int64_t bytes) {
  if (hasResponse_ || bytes <= limits_.mostRedirectBytes) return true;
  return fail({ErrorCode::tooLarge, "the body of a redirect is too long"});
}

bool Transfer::fail(Error reason) {
  if (!failure_) failure_ = std::move(reason);
  return false;
}

void Transfer::endAsSilent() {
  const auto limit = std::to_string(limits_.silence.count()) + " ms";
  const bool isNameless = request_->isLookingUpName();
  const auto what = hasResponse_ ? "nothing was received for " + limit
                                 : "no whole head of an answer within " + limit;
  auto error = transferError(CURLE_OPERATION_TIMEDOUT, what, hasResponse_);
  if (isNameless) error = {ErrorCode::cannotResolve, "no name server answered within " + limit};
  endWith(std::move(error));
}

void Transfer::endWith(Error reason) {
  fail(std::move(reason));
  end(CURLE_OK);
}

void Transfer::complete(CURLcode result) {
  if (mayStartAgain(result)) return startAgain();
  end(result);
}

// Servers drop a connection of which nothing is read. Nobody has a byte of this one yet.
bool Transfer::mayStartAgain(CURLcode result) const {
  const bool isLost = result == CURLE_GOT_NOTHING || result == CURLE_RECV_ERROR ||
                      result == CURLE_SEND_ERROR || result == CURLE_PARTIAL_FILE;
  return isLost && wasHeld_ && receivedBytes_ == 0 && !failure_ && restarts_ < mostRestarts;
}

void Transfer::startAgain() {
  ++restarts_;
  TransferThread::shared().remove(handle());
  request_.reset();
  headBytes_ = 0;
  isHeld_ = wasHeld_ = hasResponse_ = false;
  TransferThread::shared().line().restart(place_);
}

void Transfer::end(CURLcode result) {
  client_->transferEnded(judge(result));
  leave();
}

void Transfer::leave() {
  const auto self = shared_from_this();
  isOver_ = true;
  TransferThread::shared().remove(handle());
  TransferThread::shared().line().remove(place_);
  request_.reset();
  client_.reset();
}

std::optional<Error> Transfer::judge(CURLcode result) const {
  if (failure_) return failure_;
  if (result == CURLE_UNSUPPORTED_PROTOCOL && request_->isSecure()) {
    return Error{ErrorCode::untrusted, "an answer over https redirects to what is not https"};
  }
  const bool isAnswered = result == CURLE_OK || result == CURLE_WRITE_ERROR;
  if (isAnswered && !hasResponse_) {
    return statusError(ResponseHead::readStatus(handle()),
                       " without a resource or an address of one");
  }
  if (result != CURLE_OK) return transferError(result, request_->errorText(), hasResponse_);
  if (receivedBytes_ == 0) {
    return Error{ErrorCode::cutShort, "the answer ended without a single byte"};
  }
  return {};
}

}  // namespace tavrin::curl
