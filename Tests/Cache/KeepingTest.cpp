// Videos on the way to their names, and what the disk may do to them meanwhile.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/resource.h>

#include <atomic>
#include <future>

#include "Tavrin/Cache/VideoCacheManager.hpp"
#include "Tavrin/Foundation/Executor.hpp"
#include "Tavrin/Item/Internal/DownloadedBody.hpp"
#include "Tavrin/Media/AVAssetResourceLoader.hpp"
#include "Tavrin/Media/AssetByteReader.hpp"
#include "Tests/Support/CacheFixture.hpp"
#include "Tests/Support/CapturedStdout.hpp"
#include "Tests/Support/Command.hpp"

namespace tavrin {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr std::int64_t mebibyte = 1 << 20;

class KeepingTest : public testing::CacheFixture {
 protected:
  std::shared_ptr<CachingPlayerItem> save(const std::string& name) {
    manager->saveVideosToCache(url(name), "video/mp4");
    return manager->streamableItems().back();
  }
  // Begins a download that stands still after half of its body.
  std::shared_ptr<CachingPlayerItem> saveHalf(const std::string& name) {
    server.serve("/" + name, body, "stall");
    auto item = save(name);
    EXPECT_TRUE(server.waitForPauses("/" + name, 1));
    return item;
  }
  bool isWhole(const CachingPlayerItem& item) {
    return waitUntil([&] { return item.progress().received == std::ssize(body); });
  }
  // What a reader gets of the first bytes, in the manner of an engine.
  static bool reads(const CachingPlayerItem& item, std::string_view expected) {
    auto result = std::async(std::launch::async, [&] {
      const auto reader = AssetByteReader::make(item.asset());
      std::string bytes(expected.size(), '\0');
      std::size_t filled = 0;
      while (filled < bytes.size()) {
        const auto got = reader->read(std::as_writable_bytes(std::span(bytes)).subspan(filled));
        if (got <= 0) return false;
        filled += static_cast<std::size_t>(got);
      }
      return bytes == expected;
    });
    waitUntil(
        [&] { return result.wait_for(std::chrono::seconds(0)) == std::future_status::ready; });
    return result.get();
  }
  bool mountSmall(const char* size) {
    return mount("tavrin", cacheDirectory().c_str(), "tmpfs", 0, size) == 0;
  }

  const std::string body = testing::makeBody(3 * mebibyte + 77);
  std::shared_ptr<VideoCacheManager> manager = VideoCacheManager::make();
};

TEST_F(KeepingTest, ABodyHasNoNameBeforeItIsWholeAndIsNotCopiedToIt) {
  const auto item = saveHalf("a.mp4");
  EXPECT_TRUE(reads(*item, std::string_view(body).substr(0, 1000)));
  EXPECT_THAT(filesBelow(cacheDirectory()), IsEmpty());
  const testing::CapturedStdout printed;
  server.releaseAll();
  ASSERT_TRUE(waitUntil([&] { return !printed.text().empty(); }));
  EXPECT_TRUE(fileContents("a.mp4") == body);
  EXPECT_THAT(filesBelow(cacheDirectory()), ElementsAre("a.mp4"));
  EXPECT_TRUE(reads(*item, body));
  fs::resize_file(cacheDirectory() / "a.mp4", 10);
  EXPECT_FALSE(reads(*item, body)) << "it is read from the file that was kept";
}

// Tells when the manager has done what it can to keep a body.
class Relay final : public CachingPlayerItemDelegate {
 public:
  explicit Relay(std::shared_ptr<VideoCacheManager> manager) : manager_(std::move(manager)) {}
  void playerItemDidFinishDownloadingData(CachingPlayerItem& item, const Data& data) override {
    manager_->playerItemDidFinishDownloadingData(item, data);
    isDone = true;
  }
  std::atomic<bool> isDone = false;

 private:
  const std::shared_ptr<VideoCacheManager> manager_;
};

// Whatever becomes of the directory, it costs the cache and never the video.
class KeepingFault : public KeepingTest, public ::testing::WithParamInterface<const char*> {
 protected:
  void harm() {
    const std::string_view fault = GetParam();
    if (fault == "directory removed") fs::remove_all(cacheDirectory());
    if (fault == "directory made immutable") {
      const auto done = testing::runCommand("chattr +i " + cacheDirectory().string());
      if (done.status != 0) GTEST_SKIP() << done.output;
    }
    if (fault == "directory in the place of the name") fs::create_directories(path("a.mp4/b"));
    if (fault == "disk full" && !mountSmall("size=1m")) GTEST_SKIP() << "nothing can be mounted";
    if (fault == "files bounded") {
      getrlimit(RLIMIT_FSIZE, &limit);
      const rlimit small{mebibyte, limit.rlim_max};
      setrlimit(RLIMIT_FSIZE, &small);
    }
  }
  void mend() {
    if (limit.rlim_max > 0) setrlimit(RLIMIT_FSIZE, &limit);
    testing::runCommand("chattr -i " + cacheDirectory().string());
    umount2(cacheDirectory().c_str(), MNT_DETACH);
  }
  std::string path(const std::string& name) const { return (cacheDirectory() / name).string(); }

  rlimit limit{};
};

TEST_P(KeepingFault, PlaysOnAndLeavesNothing) {
  const bool isEarly = GetParam() == std::string_view("disk full");  // a mount hides what is open
  if (isEarly) harm();
  const auto item = saveHalf("a.mp4");
  if (!isEarly) harm();
  if (IsSkipped()) return;
  const testing::CapturedStdout printed;
  const auto relay = std::make_shared<Relay>(manager);
  item->setDelegate(relay);
  server.releaseAll();
  ASSERT_TRUE(isWhole(*item));
  EXPECT_TRUE(reads(*item, body));
  ASSERT_TRUE(waitUntil([&] { return relay->isDone.load(); }));
  EXPECT_THAT(manager->streamableItems(), ElementsAre(item));
  EXPECT_THAT(printed.text(), Not(HasSubstr("removed")));
  if (fs::exists(cacheDirectory())) {
    EXPECT_THAT(filesBelow(cacheDirectory()), IsEmpty());
  }
  mend();
}

INSTANTIATE_TEST_SUITE_P(, KeepingFault,
                         ::testing::Values("directory removed", "directory made immutable",
                                           "directory in the place of the name", "disk full",
                                           "files bounded"),
                         [](const auto& each) {
                           std::string name = each.param;
                           std::ranges::replace(name, ' ', '_');
                           return name;
                         });

TEST_F(KeepingTest, WhatNeitherDiskNorMemoryTakesFailsAndSaysSo) {
  if (!mountSmall("size=1m")) GTEST_SKIP() << "nothing can be mounted";
  CachingPlayerItem::setMemoryLimit(mebibyte);
  server.serve("/a.mp4", body);
  const testing::CapturedStdout printed;
  const auto item = save("a.mp4");
  ASSERT_TRUE(waitUntil([&] { return manager->streamableItems().empty(); }));
  CachingPlayerItem::setMemoryLimit(256 * mebibyte);
  EXPECT_THAT(printed.text(), HasSubstr("There is no room for the video"));
  EXPECT_THAT(printed.text(), HasSubstr("No space left on device"));
  const auto end = item->asset()->resourceLoader()->end();
  ASSERT_TRUE(end && end->error);
  EXPECT_EQ(end->error->code, ErrorCode::noSpace);
  const auto came = static_cast<std::size_t>(item->progress().received);
  EXPECT_GT(came, static_cast<std::size_t>(mebibyte));
  EXPECT_TRUE(reads(*item, std::string_view(body).substr(0, came)));
  EXPECT_EQ(umount2(cacheDirectory().c_str(), MNT_DETACH), 0);
}

// The disk does nothing until the test lets it, because its threads are busy.
TEST_F(KeepingTest, OnceManyWholeBodiesWaitForTheDiskTheOthersWaitForThem) {
  std::promise<void> disk;
  const auto isFree = disk.get_future().share();
  for (int i = 0; i < 64; ++i) Executor::files().post([isFree] { isFree.wait(); });
  const auto bytes = std::as_bytes(std::span(body));
  std::atomic<std::size_t> written = 0;
  for (std::size_t i = 0; i < DownloadedBody::mostWholeOnes; ++i) {
    const auto whole = DownloadedBody::make(cacheDirectory(), 0, nullptr);
    EXPECT_EQ(whole->append(bytes.first(100)), std::nullopt);
    whole->finish([&] { ++written; });
  }
  const auto small = body.substr(0, 1000);
  for (const std::string name : {"a", "b", "c", "d"}) server.serve("/" + name, small);
  const auto waiting = save("a");
  ASSERT_TRUE(waitUntil([&] { return waiting->progress().expected.has_value(); }));
  for (const auto* name : {"b", "c"}) {
    EXPECT_TRUE(reads(*save(name), small)) << "who is watched waits for no disk";
  }
  EXPECT_EQ(waiting->progress().received, 0);
  EXPECT_TRUE(reads(*waiting, small)) << "nor who is watched from now on";
  const auto last = save("d");
  ASSERT_TRUE(waitUntil([&] { return last->progress().expected.has_value(); }));
  disk.set_value();
  ASSERT_TRUE(waitUntil([&] { return manager->streamableItems().empty(); }));
  EXPECT_EQ(written, DownloadedBody::mostWholeOnes);
  EXPECT_THAT(filesBelow(cacheDirectory()), ElementsAre("a", "b", "c", "d"));
}

// A frozen file system takes no write until it thaws.
class SlowDiskTest : public KeepingTest {
 protected:
  void SetUp() override {
    const auto image = (root.path() / "image").string();
    const auto directory = cacheDirectory().string();
    const auto made = testing::runCommand("truncate -s 64M " + image + " && mkfs.ext4 -q " + image +
                                          " && mount -o loop " + image + " " + directory);
    if (made.status != 0) GTEST_SKIP() << made.output;
    isMounted_ = true;
  }
  void TearDown() override {
    if (!isMounted_) return;
    freeze(false);
    manager.reset();
    testing::runCommand("umount -l " + cacheDirectory().string());
  }
  void freeze(bool isFrozen) {
    if (isFrozen_ == isFrozen) return;
    isFrozen_ = isFrozen;
    const auto option = isFrozen ? "-f " : "-u ";
    const auto done = testing::runCommand("fsfreeze " + (option + cacheDirectory().string()));
    EXPECT_EQ(done.status, 0) << done.output;
  }

 private:
  bool isMounted_ = false;
  bool isFrozen_ = false;
};

TEST_F(SlowDiskTest, HoldsUpNeitherReadersNorOtherDownloadsNorTheMainQueue) {
  const auto small = body.substr(0, mebibyte);
  server.serve("/large.mp4", testing::makeBody(12 * mebibyte));
  // It is held back when all of it has come from the server.
  const auto medium = testing::makeBody(2 * mebibyte + mebibyte / 8);
  server.serve("/medium.mp4", medium);
  for (int i = 0; i < 6; ++i) server.serve("/" + std::to_string(i), small);
  freeze(true);
  const auto large = save("large.mp4");
  save("medium.mp4");
  for (int i = 0; i < 6; ++i) {
    EXPECT_TRUE(reads(*save(std::to_string(i)), small)) << i;
  }
  EXPECT_TRUE(reads(*large, small));
  // One that has nothing to do with the disk.
  const auto other = CachingPlayerItem::make(url("0"));
  EXPECT_TRUE(reads(*other, small));
  EXPECT_LE(large->progress().received, 3 * mebibyte) << "what waits for the disk is bounded";
  EXPECT_EQ(manager->streamableItems().size(), 8U);
  freeze(false);
  ASSERT_TRUE(waitUntil([&] { return manager->streamableItems().empty(); }));
  for (int i = 0; i < 6; ++i) EXPECT_TRUE(fileContents(std::to_string(i)) == small);
  EXPECT_TRUE(fileContents("medium.mp4") == medium);
  EXPECT_TRUE(fileContents("large.mp4") == testing::makeBody(12 * mebibyte));
}

}  // namespace
}  // namespace tavrin
