// The whole way of a picture: an item, its bytes from memory or from a server, the player, libmpv.
#include <gmock/gmock.h>

#include <chrono>
#include <functional>
#include <string>
#include <system_error>

#include "Tavrin/Feature/PlayerLooping.hpp"
#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/Foundation/NotificationCenter.hpp"
#include "Tavrin/Item/CachingPlayerItem.hpp"
#include "Tavrin/Media/AVPlayer.hpp"
#include "Tavrin/Testing/RangeServer.hpp"
#include "Tests/Engine/MpvSubject.hpp"

namespace tavrin::testing {

namespace {

using namespace std::chrono_literals;
using ::testing::IsEmpty;
using Status = AVPlayerItemStatus;

/// Counts an item's notifications.
struct Notifications {
  int ends = 0;
  int stalls = 0;

  static std::shared_ptr<Notifications> of(const std::shared_ptr<AVPlayerItem>& item) {
    auto counter = std::make_shared<Notifications>();
    auto& center = NotificationCenter::defaultCenter();
    center.addObserver<Notifications>(
        counter, [](Notifications& self) { ++self.ends; }, AVPlayerItemDidPlayToEndTime, item);
    center.addObserver<Notifications>(
        counter, [](Notifications& self) { ++self.stalls; }, AVPlayerItemPlaybackStalled, item);
    return counter;
  }
};

bool eventually(const std::function<bool()>& done) {
  return DispatchQueue::main().runUntil(done, 30s);
}

bool becomesReady(const std::shared_ptr<AVPlayerItem>& item) {
  EXPECT_TRUE(eventually([&] { return item->status() != Status::unknown; }));
  return item->status() == Status::readyToPlay;
}

void seekAndWait(AVPlayer& player, double seconds) {
  bool hasEnded = false;
  player.seek({seconds}, [&](bool finished) {
    EXPECT_TRUE(finished);
    hasEnded = true;
  });
  EXPECT_TRUE(eventually([&] { return hasEnded; }));
}

TEST(Player, WithoutAThreadForItsEngineItsItemsFailAndSayWhy) {
  MediaEngine::setFactory([](auto) -> std::unique_ptr<MediaEngine> {
    throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
  });
  const auto item = AVPlayerItem::make(*URL::parse("http://127.0.0.1:1/a.mp4"));
  const auto player = AVPlayer::make(item);
  EXPECT_FALSE(becomesReady(item));
  EXPECT_EQ(item->error().value().code, ErrorCode::noMemory);
  bool hasEnded = false;
  player->seek(CMTime::zero, [&](bool) { hasEnded = true; });
  EXPECT_TRUE(eventually([&] { return hasEnded; }));
}

std::shared_ptr<AVPlayerItem> itemInMemory(const std::string& name) {
  return CachingPlayerItem::make(clip(name), "video/mp4", name);
}

class PlayerTest : public ::testing::Test {
 protected:
  PlayerTest() {
    MediaEngine::setFactory([this](std::weak_ptr<MediaEngine::Listener> listener) {
      return makeMpvEngine(std::move(listener), log.options());
    });
  }
  ~PlayerTest() override { EXPECT_THAT(log.lines(), IsEmpty()); }

  ErrorLog log;
};

struct SampleClip {
  std::string file;
  double lasts;  // seconds
  bool isIndexLast;

  std::string path() const { return "/" + file; }
};

class SampleClipTest : public PlayerTest, public ::testing::WithParamInterface<SampleClip> {};

}  // namespace

TEST_P(SampleClipTest, PlaysToItsEndWithoutADeclaredLength) {
  RangeServer server;
  const auto path = GetParam().path();
  server.serve(path, std::string(sampleClip(GetParam().file).text()), "until close");
  const auto item = CachingPlayerItem::make(server.url(path));
  const auto notifications = Notifications::of(item);
  const auto player = AVPlayer::make(item);
  ASSERT_TRUE(becomesReady(item));
  seekAndWait(*player, GetParam().lasts - 1);
  player->play();
  ASSERT_TRUE(eventually([&] { return notifications->ends == 1; }));
  EXPECT_EQ(notifications->stalls, 0);
  EXPECT_EQ(server.countRequests(path), 1u);
}

TEST_P(SampleClipTest, PlaysWhileItDownloadsAndStallsWhereTheServerDoes) {
  RangeServer server;
  const auto path = GetParam().path();
  server.serve(path, std::string(sampleClip(GetParam().file).text()), "stall");
  const auto item = CachingPlayerItem::make(server.url(path));
  const auto notifications = Notifications::of(item);
  const auto player = AVPlayer::make(item);
  player->play();
  item->download();
  ASSERT_TRUE(server.waitForPauses(path, 1));
  // With the index at the end nothing can be shown before the rest is there.
  const int stalls = GetParam().isIndexLast ? 0 : 1;
  ASSERT_TRUE(eventually([&] { return notifications->stalls == stalls; }));
  EXPECT_EQ(item->status(), stalls == 0 ? Status::unknown : Status::readyToPlay);
  server.releaseAll();
  ASSERT_TRUE(becomesReady(item));
  seekAndWait(*player, GetParam().lasts - 0.5);
  ASSERT_TRUE(eventually([&] { return notifications->ends == 1; }));
  EXPECT_EQ(notifications->stalls, stalls);
  EXPECT_EQ(server.countRequests(path), 1u);
}

INSTANTIATE_TEST_SUITE_P(Sample, SampleClipTest,
                         ::testing::Values(SampleClip{"squats.mp4", 6.4, false},
                                           SampleClip{"jumping-jacks.mp4", 6.4, false},
                                           SampleClip{"push-ups.mp4", 8, true},
                                           SampleClip{"lunges.webm", 8, false}),
                         [](const auto& parameter) {
                           const auto& file = parameter.param.file;
                           return file.substr(0, file.find_first_of("-."));
                         });

TEST_F(PlayerTest, LoopsThroughItsEndAction) {
  const auto item = itemInMemory("red.mp4");
  const auto notifications = Notifications::of(item);
  const auto player = AVPlayer::make(item);
  loopVideo(player);
  player->play();
  ASSERT_TRUE(eventually([&] { return notifications->ends == 3; }));
  EXPECT_TRUE(player->isPlaying());
  removeLoopListener(*player);
  ASSERT_TRUE(eventually([&] { return notifications->ends == 4; }));
  EXPECT_FALSE(player->isPlaying());
}

TEST_F(PlayerTest, ReplacesItsItemWhileItPlays) {
  const auto first = itemInMemory("long.mp4");
  const auto second = itemInMemory("green.mp4");
  const auto ofFirst = Notifications::of(first);
  const auto ofSecond = Notifications::of(second);
  const auto player = AVPlayer::make(first);
  player->play();
  ASSERT_TRUE(becomesReady(first));
  player->replaceCurrentItem(second);
  seekAndWait(*player, 0);
  ASSERT_TRUE(eventually([&] { return ofSecond->ends == 1; }));
  EXPECT_EQ(player->currentItem(), second);
  EXPECT_EQ(ofFirst->ends, 0);
}

TEST_F(PlayerTest, PlaysAnItemAgainAfterAnAbsentOne) {
  const auto item = itemInMemory("red.webm");
  const auto notifications = Notifications::of(item);
  const auto player = AVPlayer::make(nullptr);
  player->play();
  player->setMuted(true);
  player->setAutomaticallyWaitsToMinimizeStalling(false);
  for (int round = 1; round <= 2; ++round) {
    player->replaceCurrentItem(nullptr);
    EXPECT_EQ(player->currentItem(), nullptr);
    player->replaceCurrentItem(item);
    ASSERT_TRUE(eventually([&] { return notifications->ends == round; }));
  }
}

TEST_F(PlayerTest, LetsGoOfItsItemWhenItIsReleased) {
  auto item = itemInMemory("long.mp4");
  const auto asset = std::weak_ptr(item->asset());
  auto player = AVPlayer::make(item);
  player->play();
  ASSERT_TRUE(becomesReady(item));
  item = nullptr;
  player = nullptr;
  EXPECT_TRUE(eventually([&] { return asset.expired(); })) << "a released player keeps its item";
}

}  // namespace tavrin::testing
