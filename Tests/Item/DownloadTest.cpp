// Caching items over the real session, a real server and real faults.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>

#include "Tavrin/Testing/RangeServer.hpp"
#include "Tests/Item/ItemSupport.hpp"

namespace tavrin::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::SizeIs;

constexpr std::int64_t length = 300'001;

class ItemDownload : public ::testing::Test {
 protected:
  std::shared_ptr<CachingPlayerItem> serve(const std::string& body, std::string_view behaviour) {
    server.serve("/clip.mp4", body, behaviour);
    auto item = CachingPlayerItem::make(server.url("/clip.mp4"));
    item->setDelegate(delegate);
    return item;
  }
  bool waitForEnd() {
    return runMainQueueUntil([&] { return !delegate->events().empty(); });
  }

  RangeServer server;
  const std::shared_ptr<RecordingItemDelegate> delegate = std::make_shared<RecordingItemDelegate>();
};

TEST_F(ItemDownload, IsOnePlainGetHoweverManyAskForIt) {
  const auto item = serve(makeBody(length), "plain");
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) threads.emplace_back([&] { item->download(); });
  const auto reader = AssetByteReader::make(item->asset());
  runBesideMainQueue([&] { EXPECT_TRUE(readToEnd(*reader) == makeBody(length)); });
  for (auto& thread : threads) thread.join();
  ASSERT_TRUE(waitForEnd());
  item->download();
  EXPECT_THAT(delegate->events(), ElementsAre("finished 300001"));
  EXPECT_TRUE(delegate->body() == makeBody(length));
  const auto requests = server.requests();
  ASSERT_THAT(requests, SizeIs(1));
  EXPECT_EQ(requests[0].method, "GET");
  EXPECT_EQ(requests[0].header("Range"), std::nullopt);
  EXPECT_EQ(requests[0].header("Accept-Encoding"), "identity");
}

// A reader stands for the engine: it must come to an end as well, and say that it failed.
class ItemDownloadFault : public ItemDownload, public ::testing::WithParamInterface<const char*> {};

TEST_P(ItemDownloadFault, FailsTheDownloadOnceAndEveryRead) {
  const auto item = serve(makeBody(length), GetParam());
  const auto reader = AssetByteReader::make(item->asset());
  std::optional<std::string> read;
  runBesideMainQueue([&] { read = readToEnd(*reader); });
  EXPECT_EQ(read, std::nullopt);
  EXPECT_TRUE(reader->hasFailed());
  ASSERT_TRUE(waitForEnd());
  EXPECT_THAT(delegate->events(), ElementsAre(HasSubstr("failed: ")));
  // Nothing is tried again, by whomever.
  item->download();
  const auto later = AssetByteReader::make(item->asset());
  runBesideMainQueue([&] { EXPECT_EQ(readToEnd(*later), std::nullopt); });
  EXPECT_THAT(delegate->events(), SizeIs(1));
  const std::string_view behaviour = GetParam();
  if (!behaviour.starts_with("redirect")) {
    EXPECT_EQ(server.countRequests("/clip.mp4"), 1u);
  }
}

INSTANTIATE_TEST_SUITE_P(, ItemDownloadFault,
                         ::testing::Values("short body", "reset mid-body", "not found",
                                           "server error", "redirect loop", "redirect to file",
                                           "gzip", "unasked part", "no content", "hostile length",
                                           "negative length"),
                         testName);

std::size_t countEntries(const std::string& folder) {
  return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

TEST_F(ItemDownload, LeavesNothingBehindWhenItsItemIsReleasedAThousandTimes) {
  server.serve("/clip.mp4", makeBody(length), "stall");
  std::vector<std::weak_ptr<Loader>> loaders;
  const auto startAndRelease = [&](int i) {
    const auto item = CachingPlayerItem::make(server.url("/clip.mp4"));
    item->setDelegate(delegate);
    loaders.push_back(loaderOf(*item));
    item->download();
    // Some are released before they have begun, some in the midst of their bytes.
    if (i % 10 == 0) {
      const auto reader = AssetByteReader::make(item->asset());
      runBesideMainQueue([&] { EXPECT_EQ(readBytes(*reader, 1), makeBody(1)); });
    }
  };
  startAndRelease(0);  // starts the threads that all downloads share
  ASSERT_TRUE(server.waitForConnections(0));
  const auto threads = countEntries("/proc/self/task");
  const auto descriptors = countEntries("/proc/self/fd");
  for (int i = 0; i < 1000; ++i) startAndRelease(i);
  ASSERT_TRUE(server.waitForConnections(0));
  EXPECT_TRUE(delegate->events().empty());
  // A call that was under way may hold its loader for as long as it runs, and a thread that has
  // been joined leaves the list of threads a moment later.
  const auto areGone = [&] {
    DispatchQueue::main().async([] {});
    return countEntries("/proc/self/task") <= threads &&
           countEntries("/proc/self/fd") <= descriptors &&
           std::ranges::all_of(loaders, [](const auto& each) { return each.expired(); });
  };
  EXPECT_TRUE(runMainQueueUntil(areGone));
}

}  // namespace
}  // namespace tavrin::testing
