// What the engine over libmpv opens before it is asked for.
#include <gmock/gmock.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <vector>

#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/Media/OpenAhead.hpp"
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

/// A clip whose readers are counted: one that is taken over has one, one that is opened anew two.
struct Clip {
  explicit Clip(const std::string& name) : Clip(clip(name)) {}
  explicit Clip(Data bytes) : resource(ScriptedResource::make(std::move(bytes))) {}

  bool isReadBy(int readers) const {
    return eventually([&] { return resource->readers() == readers; });
  }

  std::shared_ptr<ScriptedResource> resource;
  std::shared_ptr<AVURLAsset> asset = resource->asset();
};

/// One engine that plays a red clip.
struct Player {
  explicit Player(ErrorLog& log) : engine(makeMpvEngine(listener, log.options())) {
    engine->setPlaying(true);
    load(1, red);
  }

  void load(MediaEngine::LoadId load, const Clip& clip) {
    engine->load(load, clip.asset);
    EXPECT_TRUE(hears("ready " + std::to_string(load)));
  }
  bool hears(const std::string& report) {
    return eventually([&] { return listener->count(report) >= 1; });
  }

  /// The colour in the middle of the current picture: "r", "g" or "b".
  std::string colour(int width = 64) {
    constexpr int height = 48;
    std::vector<std::byte> pixels(static_cast<std::size_t>(width * height * 4));
    engine->draw({pixels.data(), width, height, width * 4});
    const auto* middle = &pixels[static_cast<std::size_t>((height / 2 * width + width / 2) * 4)];
    std::string letters;
    for (int i = 0; i < 3; ++i) {
      if (std::to_integer<int>(middle[i]) > 80) letters += "rgb"[i];
    }
    return letters;
  }

  Clip red{"red.mp4"};
  std::shared_ptr<RecordingListener> listener = std::make_shared<RecordingListener>();
  std::unique_ptr<MediaEngine> engine;
};

class MpvAheadTest : public ::testing::Test {
 protected:
  ~MpvAheadTest() override { EXPECT_THAT(log.lines(), IsEmpty()); }

  ErrorLog log;
  Clip green{"green.mp4"};
  Clip blue{"blue.mp4"};
  Clip other{"long.mp4"};
};

}  // namespace

TEST_F(MpvAheadTest, TakesOverWhatItHasOpenAndPlaysItFromItsStart) {
  Player player(log);
  player.engine->expect({green.asset, player.red.asset, blue.asset, other.asset});
  ASSERT_TRUE(green.isReadBy(1));
  ASSERT_TRUE(blue.isReadBy(1));
  EXPECT_EQ(player.colour(), "r");
  player.load(2, green);
  EXPECT_EQ(player.colour(), "g");
  ASSERT_TRUE(player.hears("end 2"));
  player.load(3, blue);
  EXPECT_EQ(player.colour(), "b");
  EXPECT_EQ(player.colour(80), "b") << "in another size than before";
  ASSERT_TRUE(player.red.isReadBy(2)) << "it is open ahead once another one plays";
  player.load(4, player.red);
  EXPECT_EQ(player.colour(), "r");
  EXPECT_EQ(blue.resource->readers(), 1);
  EXPECT_EQ(player.red.resource->readers(), 2);
  EXPECT_EQ(other.resource->readers(), 0) << "there are likelier ones";
}

TEST_F(MpvAheadTest, OpensNothingBeforeTheCurrentPictureIsOut) {
  Player player(log);
  Player witness(log);
  Clip late("long.mp4");
  late.resource->setAvailable(0);
  player.engine->load(2, late.asset);
  player.engine->expect({late.asset, green.asset});
  ASSERT_TRUE(late.isReadBy(1));
  witness.engine->expect({blue.asset});
  ASSERT_TRUE(blue.isReadBy(1));
  EXPECT_EQ(green.resource->readers(), 0);
  late.resource->setAvailable(clip("long.mp4").count());
  ASSERT_TRUE(green.isReadBy(1));
  EXPECT_EQ(player.listener->count("ready 2"), 1);
  EXPECT_EQ(late.resource->readers(), 1) << "what plays is not opened once more";
}

TEST_F(MpvAheadTest, WhatIsDroppedOrBrokenWhileItIsOpenCostsThePlayingClipNothing) {
  Player player(log);
  Clip broken(Data("no video, but some text"));
  player.engine->expect({broken.asset, green.asset});
  ASSERT_TRUE(broken.isReadBy(1));
  ASSERT_TRUE(green.isReadBy(1));
  green.resource->breakOff(green.asset);
  green.resource.reset();  // as a cache does that lets go of an item
  player.engine->expect({blue.asset});
  ASSERT_TRUE(blue.isReadBy(1));
  player.engine->seek({0.5}, nullptr);
  ASSERT_TRUE(player.hears("end 1"));
  EXPECT_THAT(player.listener->reports(), ElementsAre("ready 1", "end 1"));
  EXPECT_EQ(broken.resource->readers(), 1) << "it is not tried again";
  player.load(2, blue);
  EXPECT_EQ(blue.resource->readers(), 1);
}

TEST_F(MpvAheadTest, HoldsNothingOpenUnderMemoryPressureAndOpensItAgainAfterwards) {
  Player player(log);
  green.resource->setAvailable(0);
  player.engine->expect({green.asset});
  ASSERT_TRUE(eventually([&] { return green.resource->isAwaited(); }));
  OpenAhead::setUnderMemoryPressure(true);
  EXPECT_TRUE(eventually([&] { return !green.resource->isAwaited(); }));
  green.resource->setAvailable(clip("green.mp4").count());
  OpenAhead::setUnderMemoryPressure(false);
  ASSERT_TRUE(green.isReadBy(2));
  player.load(2, green);
  EXPECT_EQ(green.resource->readers(), 2);
}

TEST_F(MpvAheadTest, KnowsAReplacedClipAndAnotherLoadOfTheSameFromWhatItHasOpen) {
  Player player(log);
  player.engine->expect({green.asset});
  ASSERT_TRUE(green.isReadBy(1));
  const Clip replacement("blue.mp4");  // under the same address
  player.load(2, replacement);
  EXPECT_EQ(player.colour(), "b");
  EXPECT_EQ(replacement.resource->readers(), 1);
  player.engine->expect({replacement.asset});  // a list of one
  player.load(3, replacement);
  EXPECT_EQ(player.colour(), "b");
  EXPECT_EQ(replacement.resource->readers(), 2);
}

TEST_F(MpvAheadTest, IsReleasedAtOnceInTheMiddleOfOpening) {
  Player player(log);
  green.resource->setAvailable(500);
  player.engine->expect({green.asset});
  ASSERT_TRUE(eventually([&] { return green.resource->isAwaited(); }));
  const auto start = std::chrono::steady_clock::now();
  player.engine.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
  EXPECT_TRUE(eventually([&] { return !green.resource->isAwaited(); }));
}

TEST_F(MpvAheadTest, TheProcessMayEndInTheMiddleOfOpening) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  // Of the process that ends: what libmpv's threads hold in that moment is no leak.
  setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
  const auto end = [this] {
    alarm(60);  // seconds; a process that hangs
    Player player(log);
    green.resource->setAvailable(500);
    player.engine->expect({green.asset});
    std::exit(eventually([&] { return green.resource->isAwaited(); }) ? 7 : 1);
  };
  EXPECT_EXIT(end(), ::testing::ExitedWithCode(7), "");
}

TEST_F(MpvAheadTest, TwoPlayersHaveTheSameClipOpenEachForItself) {
  Player first(log);
  Player second(log);
  first.engine->expect({green.asset});
  second.engine->expect({green.asset});
  ASSERT_TRUE(green.isReadBy(2));
  first.load(2, green);
  second.load(2, green);
  EXPECT_EQ(first.colour() + second.colour(), "gg");
  EXPECT_EQ(green.resource->readers(), 2);
}

}  // namespace tavrin::testing
