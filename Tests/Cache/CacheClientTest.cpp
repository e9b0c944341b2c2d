#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <random>
#include <set>
#include <thread>

#include "Tavrin/Cache/VideoCacheDependency.hpp"
#include "Tavrin/Item/CachingPlayerItem.hpp"
#include "Tavrin/Testing/Await.hpp"
#include "Tests/Support/CacheFixture.hpp"
#include "Tests/Support/CapturedStdout.hpp"

namespace tavrin {
namespace {

using testing::await;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class CacheClientTest : public testing::CacheFixture {
 protected:
  const VideoCacheDependency live = VideoCacheDependencyKey::liveValue();
};

TEST_F(CacheClientTest, EachManagerHasItsOwnItemsUntilItIsDestroyed) {
  addFile("a.mp4", "a");
  const Media a(UUID::random(), url("a.mp4"), {"video/mp4"});
  const auto first = await(live.create());
  const auto second = await(live.create());
  EXPECT_NE(first, second);
  await(live.prepareFirstTwoVideos(first, a, std::nullopt));
  const auto take = [&](const std::optional<UUID>& id) {
    return await(live.returnVideoFromArr(id, *a.url, "video/mp4"));
  };
  EXPECT_EQ(take(first), take(first)) << "prepared";
  EXPECT_NE(take(second), take(second)) << "from disk each time";
  await(live.destroy(first));
  await(live.destroy(first));
  for (const auto& id : {std::optional(first), std::optional(UUID::random()), {}}) {
    EXPECT_EQ(take(id), nullptr);
    await(live.saveVideosToCache(id, url("b.mp4"), "video/mp4"));
    await(live.prepareFirstTwoVideos(id, a, a));
    await(live.onSkipForwardPrepare(id, a, a));
    await(live.onSkipBackPrepare(id, a, a));
  }
  await(live.destroy(std::nullopt));
  EXPECT_NE(take(second), nullptr);
  EXPECT_THAT(server.requests(), IsEmpty());
  await(live.destroy(second));
}

TEST_F(CacheClientTest, TheTestValueTouchesNothing) {
  const auto client = VideoCacheDependencyKey::testValue();
  const auto id = await(client.create());
  EXPECT_NE(await(client.create()), id);
  await(client.saveVideosToCache(id, url("a.mp4"), "video/mp4"));
  const Media media{UUID::random(), url("a.mp4"), {"video/mp4"}, true};
  await(client.prepareFirstTwoVideos(id, media, media));
  await(client.onSkipForwardPrepare(id, media, media));
  await(client.onSkipBackPrepare(id, media, media));
  await(client.destroy(id));
  EXPECT_EQ(await(live.returnVideoFromArr(id, url("a.mp4"), "video/mp4")), nullptr);
  const auto item = await(client.returnVideoFromArr(id, url("a.mp4"), "video/mp4"));
  EXPECT_NE(std::dynamic_pointer_cast<CachingPlayerItem>(item), nullptr);
  EXPECT_THAT(server.requests(), IsEmpty());
  EXPECT_THAT(files(), IsEmpty());
}

TEST_F(CacheClientTest, ASettingRefusesAnswersAndTheDownloadsCanBeWatched) {
  server.serve("/page\u009b31m.mp4", {testing::shareBytes("page"), "text/html"}, "html page");
  server.serve("/clip.mp4", testing::makeBody(1000), "stall");
  VideoCacheSettings settings;
  settings.accepts = [](const URLResponse& response) { return response.mimeType == "video/mp4"; };
  const auto client = VideoCacheDependencyKey::liveValue(settings);
  const auto id = await(client.create());
  const testing::CapturedStdout printed;
  for (const char* name : {"page\u009b31m.mp4", "clip.mp4"}) {
    await(client.saveVideosToCache(id, url(name), "video/mp4"));
  }
  EXPECT_TRUE(waitUntil([&] {
    const auto downloads = runningDownloads(id);
    return downloads.size() == 1 && downloads[0].video == url("clip.mp4") &&
           downloads[0].progress == DownloadProgress{500, 1000};
  }));
  EXPECT_EQ(printed.text(), "--> " + url("page").absoluteString() + "\\u009b31m.mp4" +
                                " downoload failed, The server answered with text/html in the "
                                "place of a video\n");
  // Past the cache the same answers are refused.
  const auto streamed = await(client.returnVideoFromArr(id, url("page\u009b31m.mp4"), "video/mp4"));
  ASSERT_TRUE(streamed->asset()->accepts());
  EXPECT_FALSE(streamed->asset()->accepts()({.mimeType = "text/html"}));
  server.releaseAll();
  EXPECT_TRUE(waitUntil([&] { return runningDownloads(id).empty(); }));
  EXPECT_THAT(files(), ElementsAre("clip.mp4"));
  EXPECT_THAT(runningDownloads(std::nullopt), IsEmpty());
  await(client.destroy(id));
}

TEST_F(CacheClientTest, RacingFirstCallsShareOneRegistry) {
  std::vector<std::thread> threads;
  std::atomic<int> found{0};
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      const auto id = await(live.create());
      if (await(live.returnVideoFromArr(id, url("a.mp4"), "video/mp4"))) ++found;
      await(live.destroy(id));
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(found, 8);
}

// Calls of every kind against one manager while downloads end. TAVRIN_RACE_SECONDS sets how long.
TEST_F(CacheClientTest, CallsFromManyThreadsDoNotRaceWithEachOtherOrWithDownloads) {
  constexpr int videos = 12;
  for (int i = 0; i < videos; ++i) {
    const auto path = "/" + std::to_string(i) + ".mp4";
    server.serve(path, testing::makeBody(50'000), i % 4 == 0 ? "reset mid-body" : "plain");
  }
  const char* seconds = std::getenv("TAVRIN_RACE_SECONDS");
  const auto end =
      std::chrono::steady_clock::now() + std::chrono::seconds(seconds ? std::atoi(seconds) : 1);
  const auto id = await(live.create());
  const testing::CapturedStdout printed;
  std::vector<std::thread> threads;
  for (unsigned thread = 0; thread < 8; ++thread) {
    threads.emplace_back([&, thread] {
      std::mt19937 random(thread);
      const auto video = [&] {
        const auto name = std::to_string(random() % videos) + ".mp4";
        return Media(UUID::random(), url(name), {"video/mp4"});
      };
      while (std::chrono::steady_clock::now() < end) {
        switch (random() % 6) {
          case 0:
            await(live.saveVideosToCache(id, video().url, "video/mp4"));
            break;
          case 1:
            await(live.prepareFirstTwoVideos(id, video(), video()));
            break;
          case 2:
            await(live.onSkipForwardPrepare(id, video(), video()));
            break;
          case 3:
            await(live.onSkipBackPrepare(id, video(), video()));
            break;
          case 4:
            std::filesystem::remove(cacheDirectory() / video().url->lastPathComponent());
            break;
          default:
            EXPECT_NE(await(live.returnVideoFromArr(id, *video().url, "video/mp4")), nullptr);
        }
      }
    });
  }
  for (auto& thread : threads) thread.join();
  const auto lines = [&] {
    const auto text = printed.text();
    return static_cast<std::size_t>(std::ranges::count(text, '\n'));
  };
  EXPECT_TRUE(waitUntil([&] { return lines() == server.requests().size(); }))
      << "each download ends in one line";
  await(live.destroy(id));
  for (const auto& file : files()) EXPECT_EQ(fileContents(file).size(), 50'000U) << file;
}

}  // namespace
}  // namespace tavrin
