#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>

#include "Tavrin/Media/Internal/ByteWindows.hpp"
#include "Tests/Item/ItemSupport.hpp"

namespace tavrin::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Request = std::shared_ptr<AVAssetResourceLoadingRequest>;
constexpr auto window = ByteWindows::windowLength;

std::string describe(std::int64_t offset, std::int64_t length) {
  return std::to_string(offset) + "+" + std::to_string(length);
}

// A delegate that writes down what it is asked, in windows, and answers as the test says.
class LoggingResource final : public AVAssetResourceLoaderDelegate {
 public:
  explicit LoggingResource(std::int64_t declaredLength) : declaredLength_(declaredLength) {}

  bool resourceLoader(AVAssetResourceLoader&, const Request& request) override {
    log.push_back(describe(*request));
    if (auto* information = request->contentInformationRequest();
        information && answersInformation) {
      information->contentLength = declaredLength_;
      request->finishLoading();
    } else if (onBytes) {
      onBytes(request);
    }
    pending.push_back(request);
    return takes;
  }
  void resourceLoaderDidCancel(AVAssetResourceLoader&, const Request& request) override {
    log.push_back("cancel " + describe(*request));
  }

  std::vector<std::string> log;
  std::vector<Request> pending;
  std::function<void(const Request&)> onBytes;
  bool answersInformation = true;
  bool takes = true;

 private:
  static std::string describe(AVAssetResourceLoadingRequest& request) {
    if (request.contentInformationRequest()) return "information";
    const auto& range = *request.dataRequest();
    return testing::describe(range.requestedOffset, range.requestedLength);
  }

  const std::int64_t declaredLength_;
};

Data bytesOf(std::int64_t offset, std::int64_t length) {
  return Data(bodyPart(offset, offset + length));
}

void answerInFull(const Request& request) {
  auto& range = *request->dataRequest();
  range.respond(bytesOf(range.requestedOffset, range.requestedLength));
  request->finishLoading();
}

class AssetByteReaderTest : public ::testing::Test {
 protected:
  void open(std::int64_t declaredLength) {
    resource = std::make_shared<LoggingResource>(declaredLength);
    asset->resourceLoader()->setDelegate(resource, queue);
    reader = AssetByteReader::make(asset);
  }
  std::int64_t read(std::size_t count = 100) {
    std::vector<std::byte> buffer(count);
    return reader->read(buffer);
  }
  // Has the reader wait in a read, for which the resource has no answer yet.
  std::future<std::int64_t> readWaiting() {
    std::promise<void> posted;
    queue.setWakeUp([&] { posted.set_value(); });
    auto result = std::async(std::launch::async, [this] { return read(); });
    posted.get_future().wait();
    queue.setWakeUp(nullptr);
    return result;
  }

  DispatchQueue queue;
  const std::shared_ptr<AVURLAsset> asset = AVURLAsset::make(makeURL("scheme://host/clip.mp4"));
  std::shared_ptr<LoggingResource> resource;
  std::shared_ptr<AssetByteReader> reader;
};

TEST_F(AssetByteReaderTest, AsksForInformationThenForWindowsAndNeverPastTheEnd) {
  constexpr auto length = 2 * window + 1000;
  open(length);
  queue.poll();
  EXPECT_THAT(resource->log, IsEmpty());
  resource->onBytes = answerInFull;
  runBeside(queue, [&] { EXPECT_TRUE(readToEnd(*reader) == makeBody(length)); });
  EXPECT_THAT(resource->log, ElementsAre("information", describe(0, window),
                                         describe(window, window), describe(2 * window, 1000)));
}

TEST_F(AssetByteReaderTest, AsksForTheNextWindowWhileThisOneLasts) {
  open(100 * window);
  resource->onBytes = answerInFull;
  runBeside(queue, [&] { EXPECT_EQ(readBytes(*reader, 1).size(), 1u); });
  queue.poll();
  EXPECT_THAT(resource->log,
              ElementsAre("information", describe(0, window), describe(window, window)));
  // From here on the queue is busy: what was asked for ahead lasts for two windows.
  EXPECT_EQ(readBytes(*reader, 2 * window - 1).size(), static_cast<std::size_t>(2 * window - 1));
  EXPECT_EQ(resource->log.size(), 3u);
  queue.poll();
  EXPECT_EQ(resource->log.size(), 5u);
  EXPECT_EQ(resource->log.back(), describe(3 * window, window));
}

TEST_F(AssetByteReaderTest, ReturnsOneByteAsSoonAsItIsThere) {
  open(1000);
  resource->onBytes = [](const Request& request) {
    request->dataRequest()->respond(bytesOf(0, 1));
  };
  runBeside(queue, [&] { EXPECT_EQ(read(1000), 1); });
  resource->pending.back()->dataRequest()->respond(bytesOf(1, 7));
  resource->pending.back()->dataRequest()->respond(bytesOf(8, 2));
  EXPECT_EQ(read(1000), 9);
}

TEST_F(AssetByteReaderTest, CopesWithMoreThanItAskedFor) {
  constexpr auto length = 3 * window + 10;
  open(length);
  // In the manner of a loader that has much more: the whole length again after a part of it.
  resource->onBytes = [](const Request& request) {
    auto& range = *request->dataRequest();
    range.respond(bytesOf(range.requestedOffset, range.requestedLength / 2));
    range.respond(bytesOf(range.currentOffset(), range.requestedLength));
    request->finishLoading();
  };
  runBeside(queue, [&] { EXPECT_TRUE(readToEnd(*reader) == makeBody(length)); });
}

TEST_F(AssetByteReaderTest, WithdrawsWhatASeekLeavesBehindAndAsksAnew) {
  constexpr auto far = 50 * window;
  open(100 * window);
  Request early;
  resource->onBytes = [&](const Request& request) {
    if (request->dataRequest()->requestedOffset == 0) early = request;
    request->dataRequest()->respond(bytesOf(request->dataRequest()->requestedOffset, 50));
  };
  runBeside(queue, [&] {
    EXPECT_EQ(read(10), 10);
    EXPECT_TRUE(reader->seek(40));  // still there
    EXPECT_EQ(read(100), 10);
  });
  queue.poll();
  EXPECT_TRUE(reader->seek(far));
  queue.poll();
  EXPECT_THAT(resource->log,
              ElementsAre("information", describe(0, window), describe(window, window),
                          "cancel " + describe(0, window), "cancel " + describe(window, window)));
  early->dataRequest()->respond(bytesOf(50, 10));  // too late to matter
  resource->log.clear();
  runBeside(queue, [&] { EXPECT_EQ(readBytes(*reader, 50), bytesOf(far, 50).text()); });
  queue.poll();
  EXPECT_THAT(resource->log, ElementsAre(describe(far, window), describe(far + window, window)));
}

TEST_F(AssetByteReaderTest, WakesAtOnceWhenItIsCancelledAndNeverDeliversWhatWaitsInTheQueue) {
  open(1000);
  auto result = readWaiting();
  reader->cancel();
  EXPECT_EQ(result.get(), -1);
  EXPECT_FALSE(reader->hasFailed());
  queue.poll();
  EXPECT_THAT(resource->log, ElementsAre("cancel information"));
}

TEST_F(AssetByteReaderTest, WithdrawsItsRequestsWhenItIsReleased) {
  open(1000);
  resource->onBytes = [](const Request& request) {
    request->dataRequest()->respond(bytesOf(0, 1));
  };
  runBeside(queue, [&] { EXPECT_EQ(read(), 1); });
  reader.reset();
  queue.poll();
  EXPECT_THAT(resource->log,
              ElementsAre("information", "0+1000", "cancel 0+1000", "cancel information"));
  resource->pending.back()->dataRequest()->respond(bytesOf(1, 999));
  resource->pending.back()->finishLoading();
}

TEST_F(AssetByteReaderTest, FailsWhenNobodyTakesItsRequests) {
  const auto expectFailure = [&] {
    runBeside(queue, [&] {
      EXPECT_EQ(reader->size(), std::nullopt);
      EXPECT_FALSE(reader->hasFailed());
      EXPECT_EQ(read(), -1);
      EXPECT_TRUE(reader->hasFailed());
    });
  };
  reader = AssetByteReader::make(asset);  // no delegate was ever installed
  expectFailure();
  open(1000);
  resource->takes = false;
  resource->answersInformation = false;
  expectFailure();
  open(1000);
  resource.reset();  // held weakly
  expectFailure();
}

TEST_F(AssetByteReaderTest, LearnsTheEndThatNobodyDeclared) {
  open(-1);
  resource->onBytes = [](const Request& request) {
    auto& range = *request->dataRequest();
    if (range.requestedOffset == 0) range.respond(bytesOf(0, 100));
  };
  runBeside(queue, [&] {
    EXPECT_EQ(reader->size(), std::nullopt);
    EXPECT_TRUE(reader->seek(1'000'000)) << "no end is known";
    EXPECT_TRUE(reader->seek(0));
    EXPECT_EQ(readBytes(*reader, 100).size(), 100u);
  });
  auto atTheEnd = std::async(std::launch::async, [this] { return read(); });
  asset->resourceLoader()->setEnd({100, std::nullopt});
  EXPECT_EQ(atTheEnd.get(), 0);
  EXPECT_EQ(reader->size(), 100);
  EXPECT_FALSE(reader->seek(101));
  EXPECT_FALSE(reader->hasFailed());
  resource->log.clear();
  queue.poll();
  EXPECT_THAT(resource->log,
              ElementsAre("cancel " + describe(0, window), "cancel " + describe(window, window)));
}

TEST_F(AssetByteReaderTest, ReadsWhatCameBeforeAFailureAndThenFails) {
  open(1000);
  resource->onBytes = [](const Request& request) {
    request->dataRequest()->respond(bytesOf(0, 100));
  };
  runBeside(queue, [&] { EXPECT_EQ(read(60), 60); });
  auto behind = std::async(std::launch::async, [this] { return readBytes(*reader, 1000).size(); });
  asset->resourceLoader()->setEnd({100, Error{"reset by peer"}});
  EXPECT_EQ(behind.get(), 40u);
  EXPECT_TRUE(reader->hasFailed());
  EXPECT_EQ(read(), -1);
  EXPECT_TRUE(reader->seek(1000));
  EXPECT_EQ(read(), 0) << "the declared end is an end whatever happened";
}

TEST(AssetByteReaderOfItem, FailsWhenTheItemIsReleasedUnderAWaitingRead) {
  ScriptedDownload download;
  const auto reader = AssetByteReader::make(download.item->asset());
  download.respond(1000);
  download.receiveBody(0, 10);
  runBesideMainQueue([&] { EXPECT_EQ(readBytes(*reader, 10).size(), 10u); });
  auto waiting = std::async(std::launch::async, [&] { return readBytes(*reader, 1).size(); });
  download.item.reset();
  EXPECT_EQ(waiting.get(), 0u);
  EXPECT_TRUE(reader->hasFailed());
  EXPECT_EQ(download.session->invalidations, 1);
}

}  // namespace
}  // namespace tavrin::testing
