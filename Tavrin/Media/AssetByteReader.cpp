#include "Tavrin/Media/AssetByteReader.hpp"

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

#include "Tavrin/Foundation/Mutex.hpp"
#include "Tavrin/Media/AVAssetResourceLoader.hpp"
#include "Tavrin/Media/Internal/ByteWindows.hpp"
#include "Tavrin/Media/Internal/StreamReader.hpp"

namespace tavrin {

namespace {

using Request = std::shared_ptr<AVAssetResourceLoadingRequest>;

/// What is to be told to the resource loader once no lock is held.
struct Orders {
  std::vector<Request> asked;
  std::vector<Request> withdrawn;

  bool isEmpty() const { return asked.empty() && withdrawn.empty(); }
};

bool isBroken(const std::optional<AVAssetResourceEnd>& end, std::int64_t position) {
  return end && end->error && position >= end->length;
}

// Answers arrive on any thread, under locks of the resource loader's delegate: `mutex_` is taken
// inside them, so nothing of the delegate's is called while it is held.
class LoadingRequestReader final : public AssetByteReader,
                                   public KeyValueObserver,
                                   public std::enable_shared_from_this<LoadingRequestReader> {
 public:
  explicit LoadingRequestReader(std::shared_ptr<AVAssetResourceLoader> loader)
      : loader_(std::move(loader)) {}
  ~LoadingRequestReader() override {
    loader_->observers().remove(this, "end");
    cancel();
  }

  std::optional<std::int64_t> size() override;
  bool seek(std::int64_t offset) override;
  std::int64_t read(std::span<std::byte> buffer) override;
  void cancel() override;
  std::optional<Error> failure() const override;

  void observeValue(std::string_view keyPath) override;

 private:
  /// What a read comes to: bytes, an end, or a failure.
  struct Outcome {
    std::int64_t count = 0;
    std::vector<ByteWindows::Piece> pieces;
  };
  // Absent when the read has to wait.
  std::optional<Outcome> tryRead(std::int64_t most) TAVRIN_REQUIRES(mutex_);
  // Reads the pieces, from a file it may be. Without the lock: answers and `cancel` do not wait.
  std::int64_t fill(std::span<std::byte> buffer, const Outcome& outcome);
  // Waits for a change when there is nothing to submit.
  Orders waitForOrders() TAVRIN_REQUIRES(mutex_);

  std::optional<std::int64_t> knownLength(const std::optional<AVAssetResourceEnd>& end) const
      TAVRIN_REQUIRES(mutex_);
  void askForInformation() TAVRIN_REQUIRES(mutex_);
  void askForBytes(const std::optional<AVAssetResourceEnd>& end) TAVRIN_REQUIRES(mutex_);
  void withdrawWindows() TAVRIN_REQUIRES(mutex_);
  Request makeInformationRequest();
  Request makeDataRequest(const ByteWindows::Window& window) TAVRIN_REQUIRES(mutex_);

  // Called by the requests.
  void receive(std::uint64_t run, const ByteWindows::Window& window, std::int64_t offset,
               Data bytes);
  void receive(const AVAssetResourceLoadingContentInformationRequest& information);
  void finish(const AVAssetResourceLoadingRequest& request);

  void submit(Orders orders);
  void deliver(const Request& request);
  void refuse();
  bool isPending(const Request& request) const;

  const std::shared_ptr<AVAssetResourceLoader> loader_;

  mutable Mutex mutex_;
  ConditionVariable changed_;
  ByteWindows windows_ TAVRIN_GUARDED_BY(mutex_);
  std::uint64_t run_ TAVRIN_GUARDED_BY(mutex_) = 0;  // the windows' run; answers to others are late
  std::vector<Request> pending_ TAVRIN_GUARDED_BY(mutex_);  // for windows of this run
  Request informationRequest_ TAVRIN_GUARDED_BY(mutex_);    // absent until it is asked for
  Orders orders_ TAVRIN_GUARDED_BY(mutex_);
  std::optional<std::int64_t> declaredLength_ TAVRIN_GUARDED_BY(mutex_);
  bool hasInformation_ TAVRIN_GUARDED_BY(mutex_) = false;
  bool isRefused_ TAVRIN_GUARDED_BY(mutex_) = false;
  bool isCancelled_ TAVRIN_GUARDED_BY(mutex_) = false;
  std::optional<Error> failure_ TAVRIN_GUARDED_BY(mutex_);
};

std::optional<std::int64_t> LoadingRequestReader::size() {
  for (;;) {
    Orders orders;
    {
      const LockGuard lock(mutex_);
      const auto end = loader_->end();
      if (isCancelled_ || isRefused_ || isBroken(end, 0)) return std::nullopt;
      if (hasInformation_) return knownLength(end);
      askForInformation();
      orders = waitForOrders();
    }
    submit(std::move(orders));
  }
}

std::int64_t LoadingRequestReader::read(std::span<std::byte> buffer) {
  std::optional<Outcome> outcome;
  while (!outcome) {
    Orders orders;
    {
      const LockGuard lock(mutex_);
      outcome = tryRead(std::ssize(buffer));
      orders = outcome ? std::exchange(orders_, {}) : waitForOrders();
    }
    submit(std::move(orders));
  }
  return outcome->pieces.empty() ? outcome->count : fill(buffer, *outcome);
}

std::int64_t LoadingRequestReader::fill(std::span<std::byte> buffer, const Outcome& outcome) {
  for (const auto& piece : outcome.pieces) {
    const auto size = static_cast<std::size_t>(piece.length);
    if (const auto error = piece.bytes.read(piece.offset, buffer.first(size))) {
      const LockGuard lock(mutex_);
      failure_ = error;
      withdrawWindows();
      windows_.restartAt(windows_.position() - outcome.count);
      return -1;
    }
    buffer = buffer.subspan(size);
  }
  return outcome.count;
}

Orders LoadingRequestReader::waitForOrders() {
  if (orders_.isEmpty()) changed_.wait(mutex_);
  return std::exchange(orders_, {});
}

std::optional<LoadingRequestReader::Outcome> LoadingRequestReader::tryRead(std::int64_t most) {
  if (isCancelled_) return Outcome{-1, {}};
  if (most == 0) return Outcome{};
  const auto before = windows_.position();
  auto pieces = windows_.take(most);
  const auto end = loader_->end();
  if (pieces.empty()) {
    const auto position = windows_.position();
    if (position >= knownLength(end).value_or(std::numeric_limits<std::int64_t>::max())) {
      withdrawWindows();
      return Outcome{};
    }
    if (isRefused_ || isBroken(end, position)) {
      failure_ = end && end->error ? *end->error : Error{"Nobody answers for its bytes"};
      withdrawWindows();
      return Outcome{-1, {}};
    }
  }
  askForBytes(end);
  if (pieces.empty()) return std::nullopt;
  return Outcome{windows_.position() - before, std::move(pieces)};
}

bool LoadingRequestReader::seek(std::int64_t offset) {
  Orders orders;
  {
    const LockGuard lock(mutex_);
    const auto length = knownLength(loader_->end());
    if (isCancelled_ || offset < 0 || (length && offset > *length)) return false;
    if (windows_.covers(offset)) {
      windows_.moveTo(offset);
    } else {
      withdrawWindows();
      windows_.restartAt(offset);
    }
    orders = std::exchange(orders_, {});
  }
  submit(std::move(orders));
  return true;
}

void LoadingRequestReader::cancel() {
  Orders orders;
  {
    const LockGuard lock(mutex_);
    isCancelled_ = true;
    withdrawWindows();
    if (informationRequest_) orders_.withdrawn.push_back(informationRequest_);
    orders.withdrawn = std::exchange(orders_, {}).withdrawn;
  }
  changed_.notify_all();
  submit(std::move(orders));
}

std::optional<Error> LoadingRequestReader::failure() const {
  const LockGuard lock(mutex_);
  return failure_;
}

void LoadingRequestReader::observeValue(std::string_view) {
  {
    const LockGuard lock(mutex_);
  }  // a waiter has seen the old end and waits, or will see the new
  changed_.notify_all();
}

// A resource may be whole with fewer bytes than were declared, and never has more of use.
std::optional<std::int64_t> LoadingRequestReader::knownLength(
    const std::optional<AVAssetResourceEnd>& end) const {
  const bool isWhole = end && !end->error;
  if (isWhole && declaredLength_) return std::min(end->length, *declaredLength_);
  return isWhole ? end->length : declaredLength_;
}

void LoadingRequestReader::askForInformation() {
  if (informationRequest_) return;
  informationRequest_ = makeInformationRequest();
  orders_.asked.push_back(informationRequest_);
}

void LoadingRequestReader::askForBytes(const std::optional<AVAssetResourceEnd>& end) {
  if (!hasInformation_) return askForInformation();
  auto limit = declaredLength_.value_or(std::numeric_limits<std::int64_t>::max());
  if (end) limit = std::min(limit, end->length);
  while (const auto window = windows_.next(limit)) {
    pending_.push_back(makeDataRequest(*window));
    orders_.asked.push_back(pending_.back());
  }
}

void LoadingRequestReader::withdrawWindows() {
  ++run_;
  std::ranges::move(pending_, std::back_inserter(orders_.withdrawn));
  pending_.clear();
}

Request LoadingRequestReader::makeInformationRequest() {
  return std::make_shared<AVAssetResourceLoadingRequest>(
      true, nullptr, [weak = weak_from_this()](AVAssetResourceLoadingRequest& request) {
        if (const auto self = weak.lock()) self->receive(*request.contentInformationRequest());
      });
}

Request LoadingRequestReader::makeDataRequest(const ByteWindows::Window& window) {
  auto data = std::make_shared<AVAssetResourceLoadingDataRequest>(
      window.offset, window.length,
      [weak = weak_from_this(), run = run_, window](std::int64_t offset, Data bytes) {
        if (const auto self = weak.lock()) self->receive(run, window, offset, std::move(bytes));
      });
  return std::make_shared<AVAssetResourceLoadingRequest>(
      false, std::move(data), [weak = weak_from_this()](AVAssetResourceLoadingRequest& request) {
        if (const auto self = weak.lock()) self->finish(request);
      });
}

void LoadingRequestReader::receive(std::uint64_t run, const ByteWindows::Window& window,
                                   std::int64_t offset, Data bytes) {
  {
    const LockGuard lock(mutex_);
    if (run != run_) return;
    windows_.receive(window, offset, std::move(bytes));
  }
  changed_.notify_all();
}

void LoadingRequestReader::receive(
    const AVAssetResourceLoadingContentInformationRequest& information) {
  {
    const LockGuard lock(mutex_);
    hasInformation_ = true;
    if (information.contentLength >= 0) declaredLength_ = information.contentLength;
    pending_.clear();
  }
  changed_.notify_all();
}

void LoadingRequestReader::finish(const AVAssetResourceLoadingRequest& request) {
  const LockGuard lock(mutex_);
  std::erase_if(pending_, [&](const Request& each) { return each.get() == &request; });
}

void LoadingRequestReader::submit(Orders orders) {
  auto* queue = loader_->queue();
  if (queue == nullptr) {
    if (!orders.asked.empty()) refuse();
    return;
  }
  for (auto& request : orders.asked) {
    queue->async([weak = weak_from_this(), request = std::move(request)] {
      if (const auto self = weak.lock()) self->deliver(request);
    });
  }
  for (auto& request : orders.withdrawn) {
    queue->async([loader = loader_, request = std::move(request)] {
      if (const auto delegate = loader->delegate()) {
        delegate->resourceLoaderDidCancel(*loader, request);
      }
    });
  }
}

// A request that was withdrawn while it stood in the queue never reaches the delegate.
void LoadingRequestReader::deliver(const Request& request) {
  if (!isPending(request)) return;
  const auto delegate = loader_->delegate();
  if (!delegate || !delegate->resourceLoader(*loader_, request)) refuse();
}

void LoadingRequestReader::refuse() {
  {
    const LockGuard lock(mutex_);
    isRefused_ = true;
  }
  changed_.notify_all();
}

bool LoadingRequestReader::isPending(const Request& request) const {
  const LockGuard lock(mutex_);
  if (request == informationRequest_) return !isCancelled_;
  return std::ranges::find(pending_, request) != pending_.end();
}

}  // namespace

std::shared_ptr<AssetByteReader> AssetByteReader::make(const std::shared_ptr<AVURLAsset>& asset) {
  if (!asset->resourceLoader()->delegate() && asset->url().isHTTP()) {
    return std::make_shared<StreamReader>(asset->url(), asset->accepts());
  }
  auto reader = std::make_shared<LoadingRequestReader>(asset->resourceLoader());
  asset->resourceLoader()->observers().add(reader, "end");
  return reader;
}

}  // namespace tavrin
