#include "Tests/Item/ItemSupport.hpp"

#include <utility>

namespace tavrin::testing {

std::shared_ptr<Loader> loaderOf(const CachingPlayerItem& item) {
  const auto delegate = item.asset()->resourceLoader()->delegate();
  return dynamic_cast<Loader&>(*delegate).shared_from_this();
}

void runBeside(DispatchQueue& queue, const std::function<void()>& work) {
  std::atomic<bool> isDone = false;
  std::thread thread([&] {
    work();
    isDone = true;
    queue.async([] {});
  });
  EXPECT_TRUE(queue.runUntil([&] { return isDone.load(); }, std::chrono::seconds(30)));
  thread.join();
}

bool runMainQueueUntil(const std::function<bool()>& done) {
  return DispatchQueue::main().runUntil(done, std::chrono::seconds(30));
}

std::optional<std::string> readToEnd(AssetByteReader& reader, std::size_t atOnce) {
  std::string all;
  std::vector<std::byte> buffer(atOnce);
  for (;;) {
    const auto count = reader.read(buffer);
    if (count < 0) return std::nullopt;
    if (count == 0) return all;
    all.append(reinterpret_cast<const char*>(buffer.data()), static_cast<std::size_t>(count));
  }
}

std::string readBytes(AssetByteReader& reader, std::size_t count) {
  std::string bytes(count, '\0');
  std::size_t filled = 0;
  while (filled < count) {
    const auto read = reader.read(std::as_writable_bytes(std::span(bytes)).subspan(filled));
    if (read <= 0) break;
    filled += static_cast<std::size_t>(read);
  }
  bytes.resize(filled);
  return bytes;
}

ScriptedDownload::ScriptedDownload(std::string_view url)
    : item(CachingPlayerItem::make(makeURL(url))), loader(loaderOf(*item)) {
  loader->setSession(session);
}

void ScriptedDownload::respond(std::int64_t expectedLength, std::optional<std::string> mimeType) {
  using Disposition = URLSessionDataDelegate::ResponseDisposition;
  std::vector<Disposition> answers;
  loader->urlSession(*session, task_, URLResponse{std::move(mimeType), expectedLength},
                     [&](Disposition disposition) { answers.push_back(disposition); });
  EXPECT_EQ(answers, std::vector{Disposition::allow});
}

void ScriptedDownload::receive(std::string_view bytes) {
  loader->urlSession(*session, task_, Data(bytes));
}

void ScriptedDownload::complete(std::optional<Error> error) {
  loader->urlSession(*session, task_, error);
}

void RecordingItemDelegate::playerItemDidFinishDownloadingData(CachingPlayerItem& item,
                                                               const Data& data) {
  {
    const LockGuard lock(mutex_);
    body_ = data;
  }
  note("finished " + std::to_string(data.count()));
  if (onEnd) onEnd(item);
}

void RecordingItemDelegate::playerItemReadyToPlay(CachingPlayerItem&) { note("ready"); }
void RecordingItemDelegate::playerItemPlaybackStalled(CachingPlayerItem&) { note("stalled"); }

void RecordingItemDelegate::playerItemDownloadingFailedWith(CachingPlayerItem& item,
                                                            const Error& error) {
  note("failed: " + error.description);
  if (onEnd) onEnd(item);
}

// Ends of downloads come on other threads: an empty job lets a waiting main queue look again.
void RecordingItemDelegate::note(std::string event) {
  {
    const LockGuard lock(mutex_);
    events_.push_back(std::move(event));
  }
  DispatchQueue::main().async([] {});
}

std::vector<std::string> RecordingItemDelegate::events() const {
  const LockGuard lock(mutex_);
  return events_;
}

std::string RecordingItemDelegate::body() const {
  const LockGuard lock(mutex_);
  return std::string(body_.text());
}

std::shared_ptr<TestRequest> TestRequest::make(
    std::optional<std::pair<std::int64_t, std::int64_t>> range, bool wantsInformation) {
  auto made = std::make_shared<TestRequest>();
  const std::weak_ptr<TestRequest> weak = made;
  std::shared_ptr<AVAssetResourceLoadingDataRequest> data;
  if (range) {
    data = std::make_shared<AVAssetResourceLoadingDataRequest>(
        range->first, range->second, [weak, start = range->first](std::int64_t offset, Data bytes) {
          const auto self = weak.lock();
          if (!self) return;
          EXPECT_EQ(offset, start + static_cast<std::int64_t>(self->received.size()));
          self->received += bytes.text();
        });
  }
  made->request = std::make_shared<AVAssetResourceLoadingRequest>(
      wantsInformation, std::move(data), [weak](AVAssetResourceLoadingRequest&) {
        const auto self = weak.lock();
        if (!self) return;
        self->isFinished = true;
        if (self->onFinish) self->onFinish();
      });
  return made;
}

void ask(const CachingPlayerItem& item, const TestRequest& request) {
  auto& loader = *item.asset()->resourceLoader();
  EXPECT_TRUE(loader.delegate()->resourceLoader(loader, request.request));
}

}  // namespace tavrin::testing
