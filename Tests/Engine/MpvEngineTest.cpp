#include <gmock/gmock.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <optional>

#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/Mpv/MpvEngine.hpp"
#include "Tavrin/Testing/RecordingListener.hpp"
#include "Tavrin/Testing/ScriptedResource.hpp"
#include "Tests/Engine/MpvSubject.hpp"

namespace tavrin::testing {

namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

bool eventually(const std::function<bool()>& done) {
  return DispatchQueue::main().runUntil(done, 30s);
}

class MpvEngineTest : public ::testing::Test {
 protected:
  bool hears(const std::string& report, long times = 1) {
    return eventually([&] { return listener->count(report) >= times; });
  }

  /// The colour in the middle of the current picture, its red, green and blue reduced to letters.
  std::string colour() {
    constexpr int width = 64;
    constexpr int height = 48;
    alignas(64) std::array<std::byte, width * height * 4> pixels{};
    drawn = engine->draw({pixels.data(), width, height, width * 4});
    const auto* middle = &pixels[(height / 2 * width + width / 2) * 4];
    std::string letters;
    for (int i = 0; i < 3; ++i) {
      if (std::to_integer<int>(middle[i]) > 80) letters += "rgb"[i];
    }
    return letters;
  }

  ErrorLog log;
  std::shared_ptr<RecordingListener> listener = std::make_shared<RecordingListener>();
  std::unique_ptr<MediaEngine> engine = makeMpvEngine(listener, log.options());
  std::optional<MediaEngine::LoadId> drawn;
};

}  // namespace

TEST_F(MpvEngineTest, DrawsOnlyPicturesOfTheNewestLoad) {
  const std::array names = {"red.mp4", "green.mp4", "blue.mp4"};
  const std::array colours = {"r", "g", "b"};
  std::array<std::shared_ptr<ScriptedResource>, 3> resources;
  for (std::size_t i = 0; i < 3; ++i) resources[i] = ScriptedResource::make(clip(names[i]));
  engine->setPlaying(true);
  int pictures = 0;
  for (MediaEngine::LoadId load = 1; load <= 60; ++load) {
    engine->load(load, resources[load % 3]->asset());
    EXPECT_EQ(colour(), "") << "a picture of an earlier load";
    // Every fourth load gets the time to show its picture; the others are overtaken on the way.
    const auto ready = "ready " + std::to_string(load);
    if (load % 4 == 0) {
      ASSERT_TRUE(hears(ready));
    }
    if (const auto seen = colour(); drawn) {
      EXPECT_EQ(drawn, load);
      EXPECT_EQ(seen, colours[load % 3]);
      ++pictures;
    }
  }
  ASSERT_TRUE(hears("ready 60"));
  EXPECT_EQ(colour(), colours[60 % 3]);
  EXPECT_GE(pictures, 15);
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(MpvEngineTest, StallsOnceWhereBytesAreMissingAndPlaysOnWhenTheyCome) {
  const auto resource = ScriptedResource::make(clip("long.mp4"));
  resource->setAvailable(30'000);
  engine->load(1, resource->asset());
  engine->setPlaying(true);
  ASSERT_TRUE(hears("stall 1"));
  const auto position = engine->currentTime().seconds;
  EXPECT_GT(position, 0);
  resource->setAvailable(clip("long.mp4").count());
  ASSERT_TRUE(hears("end 1"));
  EXPECT_GT(engine->currentTime().seconds, position);
  EXPECT_THAT(listener->reports(), ElementsAre("ready 1", "stall 1", "end 1"));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(MpvEngineTest, PlaysWhatThereIsOfABrokenDownloadAndOfATruncatedFileAndFails) {
  const auto whole = clip("long.mp4");
  const auto broken = ScriptedResource::make(whole);
  broken->setAvailable(30'000);
  const auto asset = broken->asset();
  broken->breakOff(asset);
  engine->load(1, asset);
  engine->setPlaying(true);
  ASSERT_TRUE(hears("failed 1"));
  EXPECT_EQ(listener->error(), *asset->resourceLoader()->end()->error);

  const auto truncated = ScriptedResource::make(whole.subdata(0, whole.count() / 2));
  engine->load(2, truncated->asset());
  ASSERT_TRUE(hears("failed 2"));
  EXPECT_EQ(listener->error().code, ErrorCode::cutShort);
  EXPECT_THAT(listener->reports(), ElementsAre("ready 1", "failed 1", "ready 2", "failed 2"));
}

TEST_F(MpvEngineTest, GoesOnAfterAFailureWhilePlaying) {
  const auto whole = clip("long.mp4");
  const auto truncated = ScriptedResource::make(whole.subdata(0, 1000));
  const auto good = ScriptedResource::make(clip("red.webm"));
  engine->setPlaying(true);
  for (MediaEngine::LoadId load = 1; load <= 6; load += 2) {
    engine->load(load, truncated->asset());
    ASSERT_TRUE(hears("failed " + std::to_string(load)));
    engine->load(load + 1, good->asset());
    ASSERT_TRUE(hears("ready " + std::to_string(load + 1)));
  }
}

TEST_F(MpvEngineTest, PausesAndPlaysOnFromTheSamePlace) {
  const auto resource = ScriptedResource::make(clip("long.mp4"));
  engine->load(1, resource->asset());
  ASSERT_TRUE(hears("ready 1"));
  engine->seek({3.0}, nullptr);
  bool isThere = false;
  engine->seek({2.0}, [&](bool finished) { isThere = finished; });
  ASSERT_TRUE(eventually([&] { return isThere; }));
  EXPECT_NEAR(engine->currentTime().seconds, 2.0, 0.05);
  engine->setPlaying(true);
  ASSERT_TRUE(hears("end 1"));
  EXPECT_GT(engine->currentTime().seconds, 3.5);
}

TEST_F(MpvEngineTest, TellsAnEndThatASeekReachesOncePlaybackIsAskedFor) {
  const auto resource = ScriptedResource::make(clip("red.mp4"));
  engine->load(1, resource->asset());
  ASSERT_TRUE(hears("ready 1"));
  bool isThere = false;
  engine->seek({1000}, [&](bool) { isThere = true; });
  ASSERT_TRUE(eventually([&] { return isThere; }));
  EXPECT_THAT(listener->reports(), ElementsAre("ready 1"));
  engine->setPlaying(true);
  ASSERT_TRUE(hears("end 1"));
}

TEST_F(MpvEngineTest, ForgetsAnEndThatASeekLeavesWhilePlaybackIsAskedFor) {
  const auto resource = ScriptedResource::make(clip("long.mp4"));
  engine->setPictureHandler([] { DispatchQueue::main().async([] {}); });  // time has passed
  engine->load(1, resource->asset());
  ASSERT_TRUE(hears("ready 1"));
  for (int i = 0; i < 20; ++i) {
    engine->setPlaying(false);
    bool isThere = false;
    engine->seek({1000}, [&](bool) { isThere = true; });
    ASSERT_TRUE(eventually([&] { return isThere; }));
    bool isBack = false;
    engine->seek({0}, [&](bool) { isBack = true; });
    engine->setPlaying(true);
    ASSERT_TRUE(eventually([&] { return isBack && engine->currentTime().seconds > 0; }));
  }
  EXPECT_THAT(listener->reports(), ElementsAre("ready 1"));
}

TEST_F(MpvEngineTest, TellsThePictureHandlerOfEveryPictureWithoutWaitingForTheHost) {
  const auto resource = ScriptedResource::make(clip("red.mp4"));
  std::atomic<int> pictures = 0;
  engine->setPictureHandler([&] { ++pictures; });
  engine->load(1, resource->asset());
  ASSERT_TRUE(hears("ready 1"));
  engine->setPlaying(true);
  ASSERT_TRUE(hears("end 1"));
  engine.reset();
  EXPECT_GE(pictures, 20);  // of 30; none has been drawn
}

TEST(MpvEngineDeathTest, LetsTheProcessExitWhileALoadWaitsForBytes) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto exitWhileWaiting = [] {
    static ErrorLog log;
    static const auto listener = std::make_shared<RecordingListener>();
    static const auto engine = makeMpvEngine(listener, log.options());
    static const auto resource = ScriptedResource::make(clip("red.mp4"));
    resource->setAvailable(0);
    engine->load(1, resource->asset());
    DispatchQueue::main().runUntil([] { return false; }, 100ms);
    std::exit(0);
  };
  EXPECT_EXIT(exitWhileWaiting(), ::testing::ExitedWithCode(0), "");
}

}  // namespace tavrin::testing
