// Drives an item's resource loader with any sequence of requests, responses, chunks, cancels and
// ends, and checks every byte it answers with against its offset, and every request against what
// the loader owes it.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "Tavrin/Foundation/FatalError.hpp"
#include "Tavrin/Item/CachingPlayerItem.hpp"
#include "Tavrin/Item/Internal/CachingPlayerItemResourceLoader.hpp"

namespace tavrin {
namespace {

using Loader = CachingPlayerItem::ResourceLoaderDelegate;

void require(bool holds, std::string_view what) {
  if (!holds) fatalError(what);
}

class Input {
 public:
  explicit Input(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  bool isEmpty() const { return bytes_.empty(); }
  std::int64_t take(int count) {
    std::uint64_t value = 0;
    for (; count > 0 && !bytes_.empty(); --count, bytes_ = bytes_.subspan(1)) {
      value = value << 8 | bytes_.front();
    }
    return static_cast<std::int64_t>(value);
  }
  // Mostly a small number; now and then one near the largest.
  std::int64_t takeLength() {
    const auto kind = take(1);
    return kind < 250 ? take(2) % 20'000 : take(8) & INT64_MAX;
  }

 private:
  std::span<const std::uint8_t> bytes_;
};

class FakeSession final : public URLSession {
  std::shared_ptr<URLSessionDataTask> dataTask(const URLRequest&) override { return nullptr; }
  void invalidateAndCancel() override {}
};

class FakeTask final : public URLSessionDataTask {
  void resume() override {}
};

// What the delegate hears, one after another.
class Reports final : public CachingPlayerItemDelegate {
 public:
  void playerItemDidFinishDownloadingData(CachingPlayerItem&, const Data& data) override {
    ++count;
    finishedLength = data.count();
  }
  void playerItemDownloadingFailedWith(CachingPlayerItem&, const Error&) override { ++count; }

  int count = 0;
  std::int64_t finishedLength = -1;
};

struct Asked {
  std::shared_ptr<AVAssetResourceLoadingRequest> request;
  std::int64_t received = 0;
  bool isFinished = false;
  bool isCancelled = false;
};

class Campaign {
 public:
  explicit Campaign(Input input) : input_(input), isInMemory_(input_.take(1) % 4 == 0) {
    if (isInMemory_) {
      length_ = input_.take(2);
      item_ = CachingPlayerItem::make(makeBytes(0, length_), "video/mp4", "clip.mp4");
      hasBuffer_ = hasInformation_ = true;
    } else {
      item_ = CachingPlayerItem::make(URL::parse("http://host/clip.mp4").value());
    }
    item_->setDelegate(reports_);
    const auto delegate = item_->asset()->resourceLoader()->delegate();
    loader_ = dynamic_cast<Loader&>(*delegate).shared_from_this();
    if (!isInMemory_) loader_->setSession(session_);
  }

  void run() {
    while (!input_.isEmpty()) {
      step();
      checkAll();
    }
  }

 private:
  // A second response starts the body anew, so the byte at an offset depends on which it belongs
  // to.
  std::byte byteAt(std::int64_t offset) const {
    return static_cast<std::byte>((offset * 31 + offset / 256 + bodies_ * 101) & 0xFF);
  }

  Data makeBytes(std::int64_t offset, std::int64_t count) const {
    Data bytes;
    const auto room = bytes.resize(count);
    for (std::size_t i = 0; i < room.size(); ++i) {
      room[i] = byteAt(offset + static_cast<std::int64_t>(i));
    }
    return bytes;
  }

  void step() {
    switch (input_.take(1) % 8) {
      case 0:
      case 1:
      case 2:
        return ask();
      case 3:
        return cancel();
      case 4:
        return isInMemory_ ? ask() : respond();
      case 5:
        return complete();
      default:
        return isInMemory_ ? ask() : receive();
    }
  }

  void ask() {
    const auto kind = input_.take(1);
    const bool wantsBytes = kind % 4 != 0;
    auto asked = std::make_shared<Asked>();
    std::shared_ptr<AVAssetResourceLoadingDataRequest> data;
    if (wantsBytes) {
      const auto offset = input_.takeLength();
      data = std::make_shared<AVAssetResourceLoadingDataRequest>(
          offset, input_.takeLength(),
          [this, asked = asked.get()](std::int64_t at, const Data& bytes) {
            check(*asked, at, bytes);
          });
    }
    asked->request = std::make_shared<AVAssetResourceLoadingRequest>(
        kind % 2 == 0, std::move(data), [asked = asked.get()](AVAssetResourceLoadingRequest&) {
          require(!asked->isFinished, "finished twice");
          asked->isFinished = true;
        });
    asked_.push_back(asked);
    auto& assetLoader = *item_->asset()->resourceLoader();
    require(loader_->resourceLoader(assetLoader, asked->request), "a request was refused");
  }

  void cancel() {
    if (asked_.empty()) return;
    auto& asked = *asked_[static_cast<std::size_t>(input_.take(1)) % asked_.size()];
    asked.isCancelled = true;
    loader_->resourceLoaderDidCancel(*item_->asset()->resourceLoader(), asked.request);
  }

  void respond() {
    ++bodies_;
    length_ = 0;
    hasBuffer_ = hasInformation_ = true;
    // What is declared need not be what comes.
    const auto declared = input_.take(1) % 3 == 0 ? -1 : input_.takeLength();
    loader_->urlSession(*session_, task_, URLResponse{std::nullopt, declared}, [](auto) {});
  }

  void receive() {
    const auto count = input_.take(2) % 9000;
    const auto chunk = makeBytes(length_, count);
    if (hasBuffer_) length_ += count;
    loader_->urlSession(*session_, task_, chunk);
  }

  void complete() {
    if (isInMemory_) return;
    const bool isError = input_.take(1) % 2 == 0;
    const auto before = reports_->count;
    loader_->urlSession(*session_, task_, isError ? std::optional(Error{"broken"}) : std::nullopt);
    require(reports_->count == before + 1, "one end, one report");
    const auto end = item_->asset()->resourceLoader()->end();
    require(end && end->length == length_, "the end lies elsewhere");
    require(end->error.has_value() == (isError || !hasBuffer_), "the end is of the other kind");
    if (!end->error) require(reports_->finishedLength == length_, "the body is not whole");
  }

  void check(Asked& asked, std::int64_t offset, const Data& bytes) {
    const auto& range = *asked.request->dataRequest();
    require(!asked.isFinished && !asked.isCancelled, "answered after its end");
    require(offset == range.requestedOffset + asked.received, "answers do not follow each other");
    require(bytes.count() <= range.requestedLength, "more at once than was asked for");
    require(offset + bytes.count() <= length_, "more than there is");
    for (std::int64_t i = 0; i < bytes.count(); ++i) {
      require(bytes.bytes()[i] == byteAt(offset + i), "a byte from another offset");
    }
    asked.received += bytes.count();
  }

  // What is owed to a request after any step.
  void checkAll() const {
    const auto pending = loader_->pendingRequests();
    for (const auto& asked : asked_) {
      require(pending.contains(asked->request) == !(asked->isFinished || asked->isCancelled),
              "a request was lost or kept");
      if (asked->isFinished || asked->isCancelled) continue;
      const auto& range = asked->request->dataRequest();
      require(range || !hasInformation_, "content information was kept back");
      if (!range || !hasBuffer_ || range->requestedLength == 0) continue;
      require(range->requestedOffset >= length_ ||
                  length_ - range->requestedOffset < range->requestedLength ||
                  range->currentOffset() >= length_,
              "a request that has all its bytes goes on waiting");
    }
  }

  Input input_;
  const bool isInMemory_;
  const std::shared_ptr<Reports> reports_ = std::make_shared<Reports>();
  const std::shared_ptr<FakeSession> session_ = std::make_shared<FakeSession>();
  FakeTask task_;
  std::shared_ptr<CachingPlayerItem> item_;
  std::shared_ptr<Loader> loader_;
  std::vector<std::shared_ptr<Asked>> asked_;
  std::int64_t length_ = 0;  // bytes in the buffer
  std::int64_t bodies_ = 0;
  bool hasBuffer_ = false;
  bool hasInformation_ = false;
};

}  // namespace
}  // namespace tavrin

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  tavrin::Campaign(tavrin::Input({bytes, size})).run();
  return 0;
}
