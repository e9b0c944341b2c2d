#include "Tavrin/Media/Internal/StreamReader.hpp"

#include <algorithm>
#include <utility>

namespace tavrin {

namespace {

// A seek this far ahead of what comes is waited for: asking anew takes longer.
constexpr std::int64_t passedOver = 128L * 1024;
// Broken answers in a row that are asked for again from where they broke off.
constexpr int mostResumptions = 5;
// An answer that has brought so many bytes begins the count anew.
constexpr std::int64_t goodAnswer = 256L * 1024;

std::int64_t lengthOf(const URLResponse& response) {
  return response.part ? response.part->total : response.expectedContentLength;
}

}  // namespace

std::optional<std::int64_t> StreamReader::size() {
  for (;;) {
    Order order;
    {
      const LockGuard lock(mutex_);
      if (isCancelled_ || (broken_ && !length_)) return std::nullopt;
      if (first_ || length_) return length_;
      order = nextOrder();
      if (!order.ask) changed_.wait(mutex_);
    }
    perform(std::move(order));
  }
}

std::int64_t StreamReader::read(std::span<std::byte> buffer) {
  for (;;) {
    Order order;
    std::optional<std::int64_t> result;
    {
      const LockGuard lock(mutex_);
      result = tryRead(buffer);
      if (!isCancelled_ && !failure_) order = nextOrder();
      const bool isIdle = !order.ask && !order.changed;
      if (!result && isIdle) changed_.wait(mutex_);
    }
    perform(std::move(order));
    if (result) return *result;
  }
}

std::optional<std::int64_t> StreamReader::tryRead(std::span<std::byte> buffer) {
  if (isCancelled_) return -1;
  if (buffer.empty()) return 0;
  if (const auto taken = buffer_.take(buffer); taken > 0) return taken;
  if (isPastEnd(buffer_.position())) return 0;
  if (!broken_) return std::nullopt;
  failure_ = broken_;
  return -1;
}

bool StreamReader::seek(std::int64_t offset) {
  const LockGuard lock(mutex_);
  if (isCancelled_ || offset < 0 || (length_ && offset > *length_)) return false;
  buffer_.moveTo(offset);
  return true;
}

void StreamReader::cancel() {
  std::shared_ptr<StreamRequest> dropped;
  {
    const LockGuard lock(mutex_);
    isCancelled_ = true;
    ++asked_.number;
    dropped.swap(request_);
  }
  changed_.notify_all();
}

std::optional<Error> StreamReader::failure() const {
  const LockGuard lock(mutex_);
  return failure_;
}

bool StreamReader::isPastEnd(std::int64_t offset) const { return length_ && offset >= *length_; }

// The first answer tells whether the server takes ranges. Of one that does not, whose answer starts
// at 0, everything further on is on its way.
bool StreamReader::leadsToPosition() const {
  const auto position = buffer_.position();
  if (!first_ || buffer_.covers(position)) return true;
  if (position < buffer_.end()) return false;
  return buffer_.ahead() >= -passedOver || (asked_.isAnswered && !asked_.isPart);
}

StreamReader::Order StreamReader::nextOrder() {
  if (broken_ || isPastEnd(buffer_.position())) return {};
  if (asked_.isRunning && leadsToPosition()) return holdOrProceed();
  if (buffer_.covers(buffer_.position())) {
    const bool hasEnough = buffer_.ahead() > StreamBuffer::lookAhead / 2;
    if (hasEnough || isPastEnd(buffer_.end())) return {};
  }
  return ask();
}

StreamReader::Order StreamReader::ask() {
  // The first answer tells the length, so it is asked for at a place that every resource has.
  if (!buffer_.covers(buffer_.position())) buffer_.restartAt(first_ ? buffer_.position() : 0);
  Order order;
  order.number = asked_.number + 1;
  asked_ = {.number = order.number, .isRunning = true};
  order.ask.emplace(url_);
  order.ask->firstByte = buffer_.end();
  if (first_) order.ask->validator = first_->validator;
  order.dropped.swap(request_);
  return order;
}

StreamReader::Order StreamReader::holdOrProceed() {
  const auto limit = asked_.isHeld ? StreamBuffer::lookAhead / 2 : StreamBuffer::lookAhead;
  const bool isFull = buffer_.ahead() >= limit;
  if (!request_ || isFull == asked_.isHeld) return {};
  asked_.isHeld = isFull;
  Order order;
  order.changed = request_;
  order.isHeld = isFull;
  return order;
}

void StreamReader::perform(Order order) {
  if (order.ask) {
    order.changed = std::make_shared<StreamRequest>(*order.ask, order.number, weak_from_this());
    const LockGuard lock(mutex_);
    if (isCancelled_ || asked_.number != order.number) return;
    request_ = order.changed;
  }
  if (!order.changed) return;
  if (order.isHeld) {
    order.changed->hold();
  } else {
    order.changed->proceed();
  }
}

bool StreamReader::streamResponded(std::uint64_t number, const URLResponse& response) {
  const bool isAccepted = !accepts_ || accepts_(response);
  bool isWanted = false;
  {
    const LockGuard lock(mutex_);
    if (number != asked_.number) return false;
    if (auto error = isAccepted ? objection(response) : refusalOf(response)) {
      end(std::move(*error));
    } else {
      isWanted = true;
      begin(response);
    }
  }
  changed_.notify_all();
  return isWanted;
}

void StreamReader::begin(const URLResponse& response) {
  if (!first_) first_ = response;
  if (const auto length = lengthOf(response); length >= 0) length_ = length;
  asked_.isAnswered = true;
  asked_.isPart = response.part.has_value();
  asked_.partLeft = asked_.isPart ? response.part->length : 0;
  if (!asked_.isPart) buffer_.restartAt(0);
}

// A length that nobody declared may have become known at the end of an earlier answer.
std::optional<Error> StreamReader::objection(const URLResponse& response) const {
  if (response.part && response.part->total < 0) {
    return Error{ErrorCode::badAnswer, "a part was sent without the length of the whole"};
  }
  if (!first_) return std::nullopt;
  const auto length = lengthOf(response);
  const bool isSameLength = length < 0 || !length_ || length == *length_;
  const auto& validator = response.validator;
  const bool isSameMark = !validator || !first_->validator || *validator == *first_->validator;
  if (isSameLength && isSameMark) return std::nullopt;
  return Error{ErrorCode::badAnswer, "the video has changed on the server while it was read"};
}

void StreamReader::streamReceived(std::uint64_t number, const Data& bytes) {
  Order order;
  {
    const LockGuard lock(mutex_);
    if (number != asked_.number || broken_) return;
    asked_.received += bytes.count();
    if (asked_.received >= goodAnswer) resumptions_ = 0;
    if (asked_.isPart) asked_.partLeft -= bytes.count();
    if (asked_.partLeft < 0 || (length_ && buffer_.end() + bytes.count() > *length_)) {
      end({ErrorCode::badAnswer, "more bytes came than were declared"});
      order.dropped.swap(request_);
    } else {
      buffer_.append(bytes.view());
      order = holdOrProceed();
    }
  }
  changed_.notify_all();
  perform(std::move(order));
}

void StreamReader::streamEnded(std::uint64_t number, const std::optional<Error>& error) {
  {
    const LockGuard lock(mutex_);
    if (number != asked_.number) return;
    asked_.isRunning = false;
    auto reason = error;
    if (!error && asked_.partLeft > 0) {
      reason = Error{ErrorCode::cutShort, "a part ended before its end"};
    }
    if (!reason && !asked_.isPart) {
      length_ = buffer_.end();
    } else if (reason && !mayResume(*reason)) {
      end(std::move(*reason));
    }
  }
  changed_.notify_all();
}

// Where the server takes ranges, a connection that is lost on the way costs nothing that has come.
bool StreamReader::mayResume(const Error& error) {
  const bool isLost = error.code == ErrorCode::cutShort ||
                      error.code == ErrorCode::connectionLost || error.code == ErrorCode::timedOut;
  return isLost && asked_.isPart && ++resumptions_ <= mostResumptions;
}

void StreamReader::end(Error error) {
  asked_.isRunning = false;
  if (!broken_) broken_ = std::move(error);
}

}  // namespace tavrin
