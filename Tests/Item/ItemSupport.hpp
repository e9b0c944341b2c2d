#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/Foundation/URLSession.hpp"
#include "Tavrin/Item/CachingPlayerItem.hpp"
#include "Tavrin/Item/Internal/CachingPlayerItemResourceLoader.hpp"
#include "Tavrin/Media/AssetByteReader.hpp"
#include "Tavrin/Testing/Bytes.hpp"

namespace tavrin::testing {

using Loader = CachingPlayerItem::ResourceLoaderDelegate;

inline URL makeURL(std::string_view text) { return URL::parse(text).value(); }

/// The name of a test whose parameter is a text.
inline std::string testName(const ::testing::TestParamInfo<const char*>& each) {
  std::string name = each.param;
  std::ranges::replace_if(name, [](char c) { return !std::isalnum(c); }, '_');
  return name;
}

/// The item's resource loader, found the way an engine finds it. It does not keep the item.
std::shared_ptr<Loader> loaderOf(const CachingPlayerItem& item);

/// Runs `work` on a thread of its own while the calling thread runs the queue's jobs. Fails the
/// test when it takes longer than 30 seconds.
void runBeside(DispatchQueue& queue, const std::function<void()>& work);
inline void runBesideMainQueue(const std::function<void()>& work) {
  runBeside(DispatchQueue::main(), work);
}
/// Runs the main queue's jobs until the condition holds, for 30 seconds at most.
bool runMainQueueUntil(const std::function<bool()>& done);

/// Reads until a read returns 0 or fails; absent when it fails.
std::optional<std::string> readToEnd(AssetByteReader& reader, std::size_t atOnce = 64 * 1024);
/// Reads that many bytes, or fewer when the resource ends or fails before.
std::string readBytes(AssetByteReader& reader, std::size_t count);

/// A session that a test speaks for: it transfers nothing, and counts its invalidations.
class FakeSession final : public URLSession {
 public:
  std::shared_ptr<URLSessionDataTask> dataTask(const URLRequest&) override { return nullptr; }
  void invalidateAndCancel() override { ++invalidations; }

  std::atomic<int> invalidations = 0;
};

/// A downloading item whose download is in the test's hands.
class ScriptedDownload {
 public:
  explicit ScriptedDownload(std::string_view url = "http://host/clip.mp4");

  void respond(std::int64_t expectedLength,
               std::optional<std::string> mimeType = std::string("video/mp4"));
  void receive(std::string_view bytes);
  void receiveBody(std::int64_t from, std::int64_t to) { receive(bodyPart(from, to)); }
  void complete(std::optional<Error> error = std::nullopt);

  std::shared_ptr<CachingPlayerItem> item;
  const std::shared_ptr<FakeSession> session = std::make_shared<FakeSession>();
  const std::shared_ptr<Loader> loader;

 private:
  class Task final : public URLSessionDataTask {
    void resume() override {}
  };
  Task task_;
};

/// Writes down what an item reports.
class RecordingItemDelegate final : public CachingPlayerItemDelegate {
 public:
  void playerItemDidFinishDownloadingData(CachingPlayerItem& item, const Data& data) override;
  void playerItemReadyToPlay(CachingPlayerItem& item) override;
  void playerItemPlaybackStalled(CachingPlayerItem& item) override;
  void playerItemDownloadingFailedWith(CachingPlayerItem& item, const Error& error) override;

  /// "finished 10", "ready", "stalled", "failed: text", in order.
  std::vector<std::string> events() const;
  std::string body() const;
  /// Called inside the reports of a download's end.
  std::function<void(CachingPlayerItem&)> onEnd;

 private:
  void note(std::string event);

  mutable Mutex mutex_;
  std::vector<std::string> events_ TAVRIN_GUARDED_BY(mutex_);
  Data body_ TAVRIN_GUARDED_BY(mutex_);
};

/// A loading request of the test's own, and what it was given.
struct TestRequest {
  /// For bytes when there is a range; for content information when that is asked for.
  static std::shared_ptr<TestRequest> make(
      std::optional<std::pair<std::int64_t, std::int64_t>> range, bool wantsInformation = false);

  std::shared_ptr<AVAssetResourceLoadingRequest> request;
  std::string received;
  bool isFinished = false;
  std::function<void()> onFinish;

  AVAssetResourceLoadingContentInformationRequest& information() const {
    return *request->contentInformationRequest();
  }
};

/// Hands a request to a loader as the main queue would.
void ask(const CachingPlayerItem& item, const TestRequest& request);

}  // namespace tavrin::testing
