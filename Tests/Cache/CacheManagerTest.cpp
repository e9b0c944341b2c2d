#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/resource.h>

#include <atomic>
#include <fstream>
#include <functional>

#include "Tavrin/Cache/VideoCacheManager.hpp"
#include "Tavrin/Media/AssetByteReader.hpp"
#include "Tavrin/Testing/LinkSimulator.hpp"
#include "Tavrin/Testing/SampleMedia.hpp"
#include "Tests/Support/CacheFixture.hpp"
#include "Tests/Support/CapturedStdout.hpp"
#include "Tests/Support/Sanitizers.hpp"

namespace tavrin {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Status = AVPlayerItemStatus;

bool isDataBacked(const std::shared_ptr<AVPlayerItem>& item) {
  const auto caching = std::dynamic_pointer_cast<CachingPlayerItem>(item);
  return caching && caching->url().scheme() == "cachingPlayerItemScheme";
}

bool isPlain(const std::shared_ptr<AVPlayerItem>& item) {
  return std::dynamic_pointer_cast<CachingPlayerItem>(item) == nullptr;
}

class CacheManagerTest : public testing::CacheFixture {
 protected:
  Media media(const std::string& name) const { return {UUID::random(), url(name), {"video/mp4"}}; }
  void save(const std::string& name) { manager->saveVideosToCache(url(name), "video/mp4"); }
  std::shared_ptr<AVPlayerItem> take(const std::string& name) {
    return manager->returnVideoFromArr(url(name), "video/mp4");
  }
  bool waitForDownloads() {
    return waitUntil([this] { return manager->streamableItems().empty(); });
  }
  std::vector<std::string> prepared() const {
    std::vector<std::string> names;
    for (const auto& item : manager->cachedItems())
      names.push_back(item->url().lastPathComponent());
    return names;
  }

  std::shared_ptr<VideoCacheManager> manager = VideoCacheManager::make();
};

TEST_F(CacheManagerTest, DownloadsOnceKeepsTheBytesAndSaysSo) {
  const std::string body = testing::makeBody(300'000);
  server.serve("/a.mp4", body, "chunked");
  const testing::CapturedStdout printed;
  save("a.mp4?signature=x#t");
  ASSERT_TRUE(waitForDownloads());
  manager->saveVideosToCache(std::nullopt, "video/mp4");
  save("a.mp4");
  EXPECT_THAT(manager->streamableItems(), IsEmpty());
  const auto line = "--> " + url("a.mp4?signature=x#t").absoluteString() + " removed\n";
  EXPECT_TRUE(waitUntil([&] { return !printed.text().empty(); }));
  EXPECT_EQ(printed.text(), line);
  EXPECT_TRUE(fileContents("a.mp4") == body);
  ASSERT_EQ(server.requests().size(), 1U);
  EXPECT_EQ(server.requests()[0].header("Range"), std::nullopt);
  EXPECT_THAT(manager->cachedItems(), IsEmpty());
}

TEST_F(CacheManagerTest, AFailedDownloadSaysWhyAndLeavesNothing) {
  server.serve("/a.mp4", "body", "not found");
  const testing::CapturedStdout printed;
  save("a.mp4");
  ASSERT_TRUE(waitForDownloads());
  EXPECT_THAT(printed.text(),
              HasSubstr("--> " + url("a.mp4").absoluteString() + " downoload failed, "));
  EXPECT_THAT(printed.text(), HasSubstr("404"));
  EXPECT_THAT(files(), IsEmpty());
  server.serve("/a.mp4", "body");
  save("a.mp4");
  ASSERT_TRUE(waitForDownloads());
  EXPECT_EQ(fileContents("a.mp4"), "body") << "a later save tries again";
}

TEST_F(CacheManagerTest, HandsOutMemoryBeforeDiskBeforeTheRunningDownloadBeforeAStream) {
  server.serve("/a.mp4", testing::makeBody(1000), "stall");
  EXPECT_TRUE(isPlain(take("a.mp4")));
  save("a.mp4");
  save("a.mp4");
  ASSERT_EQ(manager->streamableItems().size(), 2U) << "a second save is a second download";
  EXPECT_EQ(take("a.mp4"), manager->streamableItems()[0]);

  addFile("a.mp4", "from disk");
  const auto fresh = take("a.mp4");
  EXPECT_TRUE(isDataBacked(fresh));
  EXPECT_NE(take("a.mp4"), fresh);

  manager->prepareFirstTwoVideos(media("a.mp4"), std::nullopt);
  const auto item = take("a.mp4");
  EXPECT_EQ(item, manager->cachedItems()[0]);
  EXPECT_EQ(take("a.mp4"), item);

  item->setStatus(Status::failed, Error{"broken"});
  EXPECT_TRUE(isPlain(take("a.mp4")));
  EXPECT_EQ(take("a.mp4")->asset()->url(), url("a.mp4"));
  EXPECT_EQ(manager->cachedItems().size(), 1U) << "the failed item stays";
}

TEST_F(CacheManagerTest, PreparingTakesWhatIsOnDiskAndOnlyTheNextVideoOnce) {
  addFile("a.mp4", "a");
  addFile("b.mp4", "b");
  manager->prepareFirstTwoVideos(std::nullopt, media("b.mp4"));
  manager->prepareFirstTwoVideos(media("a.mp4"), media("b.mp4"));
  manager->prepareFirstTwoVideos(media("a.mp4"), media("missing.mp4"));
  EXPECT_THAT(prepared(), ElementsAre("b.mp4", "a.mp4", "a.mp4"));
  EXPECT_THAT(server.requests(), IsEmpty());
}

TEST_F(CacheManagerTest, AFileThatCannotBeReadEndsPreparingAndStreams) {
  fs::create_directory(cacheDirectory() / "a.mp4");
  addFile("b.mp4", "b");
  addFile("c.mp4", "c");
  manager->prepareFirstTwoVideos(media("a.mp4"), media("b.mp4"));
  EXPECT_THAT(prepared(), IsEmpty());
  EXPECT_TRUE(isPlain(take("a.mp4")));
  manager->prepareFirstTwoVideos(media("b.mp4"), media("c.mp4"));
  manager->onSkipForwardPrepare(media("b.mp4"), media("a.mp4"));
  EXPECT_THAT(prepared(), ElementsAre("c.mp4")) << "what was done before the failed read stays";
}

// No machine has so much memory.
TEST_F(CacheManagerTest, PreparingOpensAFileAndReadsNothing) {
  addFile("a.mp4", "");
  fs::resize_file(cacheDirectory() / "a.mp4", std::int64_t{1} << 40);
  manager->prepareFirstTwoVideos(media("a.mp4"), std::nullopt);
  EXPECT_THAT(prepared(), ElementsAre("a.mp4"));
  EXPECT_TRUE(isDataBacked(take("a.mp4")));
}

TEST_F(CacheManagerTest, WithoutADescriptorAVideoIsNotPreparedAndStreams) {
  if (testing::isAddressSanitized) GTEST_SKIP() << testing::descriptorsNeeded;
  addFile("a.mp4", testing::makeBody(100'000));
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  const rlimit none{3, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  manager->prepareFirstTwoVideos(media("a.mp4"), std::nullopt);
  const auto item = take("a.mp4");
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_THAT(prepared(), IsEmpty());
  EXPECT_TRUE(isPlain(item));
  manager->prepareFirstTwoVideos(media("a.mp4"), std::nullopt);
  EXPECT_THAT(prepared(), ElementsAre("a.mp4"));
}

TEST_F(CacheManagerTest, StepsKeepTheNeighboursOfThePosition) {
  std::vector<Media> list;
  for (const char* name : {"a.mp4", "b.mp4", "c.mp4", "d.mp4"}) {
    addFile(name, name);
    list.push_back(media(name));
  }
  manager->prepareFirstTwoVideos(list[0], list[1]);
  manager->onSkipForwardPrepare(std::nullopt, list[2]);
  EXPECT_THAT(prepared(), ElementsAre("a.mp4", "b.mp4", "c.mp4"));
  manager->onSkipForwardPrepare(list[0], list[3]);
  EXPECT_THAT(prepared(), ElementsAre("b.mp4", "c.mp4", "d.mp4"));
  manager->onSkipBackPrepare(list[0], list[3]);
  EXPECT_THAT(prepared(), ElementsAre("a.mp4", "b.mp4", "c.mp4"));

  manager->prepareFirstTwoVideos(list[0], std::nullopt);
  manager->onSkipForwardPrepare(list[0], media("missing.mp4"));
  EXPECT_THAT(prepared(), ElementsAre("b.mp4", "c.mp4")) << "duplicates go together";
}

// Saves and steps happen while somebody waits for another transfer's bytes, so that all downloads
// wait in line.
TEST_F(CacheManagerTest, DownloadsComeInTheirOrderAndThoseOfThePositionFirst) {
  server.serve("/watched", std::string(8 << 20, 'v'));
  for (const char* name : {"a", "b", "c", "d"}) server.serve("/" + std::string(name), "v");
  const testing::LinkSimulator link(server.port(), {.bytesPerSecond = 200'000});
  const auto requestsAfter = [&](const std::function<void()>& change) {
    const auto watched = AssetByteReader::make(AVURLAsset::make(link.url("/watched")));
    std::byte first{};
    EXPECT_EQ(watched->read({&first, 1}), 1);
    const auto before = server.requests().size();
    change();
    watched->cancel();
    EXPECT_TRUE(waitForDownloads());
    std::string paths;
    const auto all = server.requests();
    for (auto i = before; i < all.size(); ++i) paths += all[i].path;
    for (const auto& file : files()) fs::remove(cacheDirectory() / file);
    return paths;
  };
  const auto unwatched = [&] {
    manager->prepareFirstTwoVideos(media("a"), media("b"));
    for (const char* name : {"a", "b", "c", "d"}) save(name);
  };
  EXPECT_EQ(requestsAfter(unwatched), "/a/b/c/d");
  const auto stepped = [&] {
    save("a");
    save("b");
    manager->onSkipForwardPrepare(std::nullopt, media("d"));
    take("c");
    save("d");
    save("c");
    manager->onSkipBackPrepare(media("c"), media("d"));
    take("b");
  };
  EXPECT_EQ(requestsAfter(stepped), "/b/c/a/d");
}

TEST_F(CacheManagerTest, AddressesWithOneLastComponentShareAFile) {
  addFile("b c.mp4", "shared");
  manager->prepareFirstTwoVideos(media("x/b%20c.mp4"), std::nullopt);
  EXPECT_EQ(take("y/b%20c.mp4"), manager->cachedItems()[0]);
}

// Whatever a name decodes to, it makes no path out of the directory, and the video still plays.
TEST_F(CacheManagerTest, NoAddressReachesOutsideTheDirectory) {
  std::ofstream(cacheDirectory().parent_path() / "secret") << "secret";
  const std::vector<std::string> names = {
      "",       "..%2Fsecret",    "%2e%2e",    ".",
      "%2Ftmp", "a%2F..%2Fb.mp4", "a%00b.mp4", ".tavrin-partial-123456"};
  for (const auto& name : names) server.serve("/" + URL::percentDecode(name), "body", "plain");
  for (const auto& name : names) {
    EXPECT_TRUE(isPlain(take(name))) << name;
    manager->prepareFirstTwoVideos(media(name), media(name));
    save(name);
    EXPECT_FALSE(isPlain(take(name))) << name << ": the download plays";
  }
  EXPECT_THAT(prepared(), IsEmpty());
  for (const auto& item : manager->streamableItems()) {
    manager->playerItemDidFinishDownloadingData(*item, Data("body"));
  }
  EXPECT_EQ(manager->streamableItems().size(), names.size()) << "none could be kept";
  EXPECT_THAT(files(), IsEmpty());
  EXPECT_THAT(testing::CacheFixture::filesBelow(root.path()), ElementsAre("secret"));
}

TEST_F(CacheManagerTest, AWriteThatFailsKeepsTheItemAndPrintsNothing) {
  server.serve("/a.mp4", "body", "silence");
  save("a.mp4");
  fs::create_directory(cacheDirectory() / "a.mp4");
  const auto item = manager->streamableItems()[0];
  const testing::CapturedStdout printed;
  manager->playerItemDidFinishDownloadingData(*item, Data("body"));
  fs::remove_all(cacheDirectory());
  manager->playerItemDidFinishDownloadingData(*item, Data("body"));
  EXPECT_EQ(printed.text(), "");
  EXPECT_EQ(manager->streamableItems().size(), 1U);
  EXPECT_FALSE(fs::exists(cacheDirectory())) << "a directory that was removed stays removed";
}

TEST_F(CacheManagerTest, AFullDiskCostsTheCacheAlone) {
  if (mount("tavrin", cacheDirectory().c_str(), "tmpfs", 0, "size=64k") != 0) {
    GTEST_SKIP() << "a small file system cannot be mounted here";
  }
  server.serve("/a.mp4", "body", "silence");
  save("a.mp4");
  const auto item = manager->streamableItems()[0];
  manager->playerItemDidFinishDownloadingData(*item, Data(testing::makeBody(200'000)));
  EXPECT_EQ(manager->streamableItems().size(), 1U);
  EXPECT_THAT(filesBelow(cacheDirectory()), IsEmpty());
  manager->playerItemDidFinishDownloadingData(*item, Data("small enough"));
  EXPECT_THAT(files(), ElementsAre("a.mp4"));
  EXPECT_EQ(umount(cacheDirectory().c_str()), 0);
}

TEST_F(CacheManagerTest, WithoutItsManagerADownloadIsNotKept) {
  server.serve("/a.mp4", testing::makeBody(1000), "stall");
  save("a.mp4");
  const auto held = manager->streamableItems()[0];
  save("a.mp4");
  ASSERT_TRUE(server.waitForPauses("/a.mp4", 2));
  struct Finish final : CachingPlayerItemDelegate {
    void playerItemDidFinishDownloadingData(CachingPlayerItem&, const Data&) override { is = true; }
    std::atomic<bool> is{false};
  };
  const testing::CapturedStdout printed;
  manager.reset();
  EXPECT_TRUE(server.waitForConnections(1)) << "the item that nobody holds is cancelled";
  EXPECT_EQ(held->delegate(), nullptr);
  const auto finish = std::make_shared<Finish>();
  held->setDelegate(finish);
  server.releaseAll();
  ASSERT_TRUE(waitUntil([&] { return finish->is.load(); }));
  EXPECT_EQ(printed.text(), "");
  EXPECT_THAT(files(), IsEmpty());
}

TEST_F(CacheManagerTest, LeftoversOfKilledWritesAreSweptOnce) {
  testing::TemporaryDirectory other;
  setenv("XDG_CACHE_HOME", other.path().c_str(), 1);
  fs::create_directory(other.path() / "VideoCache");
  std::ofstream(other.path() / "VideoCache" / ".tavrin-partial-abcdef") << "half";
  VideoCacheManager::make();
  EXPECT_TRUE(fs::is_empty(other.path() / "VideoCache"));
}

TEST_F(CacheManagerTest, WithoutADirectoryForCachesItDownloadsAndKeepsNothing) {
  const std::string home = std::getenv("HOME") ? std::getenv("HOME") : "";
  unsetenv("XDG_CACHE_HOME");
  unsetenv("HOME");
  manager = VideoCacheManager::make();
  setenv("HOME", home.c_str(), 1);
  server.serve("/a.mp4", "body");
  save("a.mp4");
  const auto item = manager->streamableItems().at(0);
  EXPECT_EQ(take("a.mp4"), item);
  EXPECT_TRUE(waitUntil([&] { return server.countRequests("/a.mp4") == 1; }));
  manager->playerItemDidFinishDownloadingData(*item, Data(std::string_view("body")));
  manager->prepareFirstTwoVideos(media("a.mp4"), std::nullopt);
  EXPECT_THAT(manager->cachedItems(), IsEmpty());
  EXPECT_EQ(take("a.mp4"), item) << "what could not be kept goes on being played";
}

using CacheManagerDeathTest = CacheManagerTest;

TEST_F(CacheManagerDeathTest, ADirectoryThatCannotBeMadeIsADebugAssertion) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  std::ofstream(root.path() / "file") << "x";
  setenv("XDG_CACHE_HOME", (root.path() / "file").c_str(), 1);
#ifdef NDEBUG
  EXPECT_NE(VideoCacheManager::make(), nullptr);
#else
  EXPECT_DEATH(VideoCacheManager::make(), "cannot create the directory .*VideoCache");
#endif
}

}  // namespace
}  // namespace tavrin
