#include "Tavrin/Testing/MediaEngineContract.hpp"

#include <gmock/gmock.h>

#include <array>
#include <chrono>
#include <thread>
#include <vector>

#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/Testing/RecordingListener.hpp"

namespace tavrin::testing {

namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using Kind = EngineUnderTest::Kind;

bool eventually(const std::function<bool()>& done) {
  return DispatchQueue::main().runUntil(done, 20s);
}

/// One engine with its listener and a small surface.
class Stage {
 public:
  explicit Stage(const EngineUnderTestCase& parameter) : subject_(parameter.make()) {
    engine_ = subject_->make(listener_);
  }

  MediaEngine& engine() { return *engine_; }
  void load(MediaEngine::LoadId load, Kind kind) { this->load(load, kind, makeAsset(kind)); }
  void load(MediaEngine::LoadId load, Kind kind, std::shared_ptr<AVURLAsset> asset) {
    subject_->load(*engine_, load, kind, std::move(asset));
  }
  std::shared_ptr<AVURLAsset> makeAsset(Kind kind) { return subject_->makeAsset(kind); }
  /// The asset is opened ahead, by an engine that does such a thing.
  std::shared_ptr<AVURLAsset> expect(Kind kind) {
    auto asset = makeAsset(kind);
    engine_->expect({asset});
    subject_->waitUntilReadAhead();
    return asset;
  }
  void playToEnd() { subject_->playToEnd(*engine_); }
  void release() { engine_.reset(); }
  void dropListener() { listener_.reset(); }

  const std::vector<std::string>& reports() const { return listener_->reports(); }
  bool hears(const std::string& report, long times = 1) {
    return eventually([&] { return listener_->count(report) >= times; });
  }

  std::optional<MediaEngine::LoadId> draw() {
    surface_.fill({});
    return engine_->draw({surface_.data(), width, height, width * 4});
  }
  bool surfaceIsUntouched() const {
    return std::ranges::all_of(surface_, [](std::byte byte) { return byte == std::byte{}; });
  }

  const std::vector<bool>& seekEnds() const { return *seekEnds_; }
  void seek(double seconds) {
    engine_->seek({seconds}, [seekEnds = seekEnds_](bool finished) {
      EXPECT_TRUE(DispatchQueue::main().isCurrent());
      seekEnds->push_back(finished);
    });
  }
  bool hasSeekEnds(std::size_t count) {
    return eventually([&] { return seekEnds().size() >= count; });
  }

 private:
  static constexpr int width = 64;
  static constexpr int height = 48;

  std::shared_ptr<RecordingListener> listener_ = std::make_shared<RecordingListener>();
  std::unique_ptr<EngineUnderTest> subject_;
  std::unique_ptr<MediaEngine> engine_;
  std::shared_ptr<std::vector<bool>> seekEnds_ = std::make_shared<std::vector<bool>>();
  alignas(64) std::array<std::byte, width * height * 4> surface_{};
};

}  // namespace

bool linkMediaEngineContract() { return true; }

// A program that holds no engine against the suite may still be given it: a linker takes this file
// for any template of the standard library that it happens to instantiate.
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(MediaEngineContract);

TEST_P(MediaEngineContract, TellsOnceThatALoadIsReadyAndThenHasItsPicture) {
  Stage stage(GetParam());
  EXPECT_FALSE(stage.draw());
  EXPECT_TRUE(stage.surfaceIsUntouched());
  stage.load(1, Kind::clip);
  ASSERT_TRUE(stage.hears("ready 1"));
  EXPECT_EQ(stage.draw(), 1u);
  EXPECT_FALSE(stage.surfaceIsUntouched());
  stage.load(2, Kind::clip);
  ASSERT_TRUE(stage.hears("ready 2"));
  EXPECT_EQ(stage.draw(), 2u);
  EXPECT_THAT(stage.reports(), ElementsAre("ready 1", "ready 2"));
}

TEST_P(MediaEngineContract, DrawsNothingWhereThereIsNoRoom) {
  Stage stage(GetParam());
  stage.load(1, Kind::clip);
  ASSERT_TRUE(stage.hears("ready 1"));
  alignas(64) std::array<std::byte, 64 * 16> surface{};
  const PixelBuffer targets[] = {{nullptr, 4, 4, 64},         {surface.data(), 0, 4, 64},
                                 {surface.data(), 4, 0, 64},  {surface.data(), -4, 4, 64},
                                 {surface.data(), 4, -4, 64}, {surface.data(), 4, 4, 15},
                                 {surface.data(), 4, 4, -64}, {surface.data(), 4, 4, 0}};
  for (const auto& target : targets) EXPECT_FALSE(stage.engine().draw(target));
  EXPECT_TRUE(std::ranges::all_of(surface, [](std::byte byte) { return byte == std::byte{}; }));
  EXPECT_EQ(stage.draw(), 1u);
}

TEST_P(MediaEngineContract, TellsOnceThatALoadFailsAndPlaysTheNextOne) {
  Stage stage(GetParam());
  stage.load(1, Kind::broken);
  ASSERT_TRUE(stage.hears("failed 1"));
  EXPECT_FALSE(stage.draw());
  stage.load(2, Kind::clip);
  ASSERT_TRUE(stage.hears("ready 2"));
  EXPECT_THAT(stage.reports(), ElementsAre("failed 1", "ready 2"));
}

TEST_P(MediaEngineContract, PassesOverALoadThatIsOlderThanTheNewest) {
  Stage stage(GetParam());
  stage.load(2, Kind::clip);
  stage.load(1, Kind::broken);
  ASSERT_TRUE(stage.hears("ready 2"));
  EXPECT_EQ(stage.draw(), 2u);
  EXPECT_THAT(stage.reports(), ElementsAre("ready 2"));
}

TEST_P(MediaEngineContract, HasNoPictureAndNoPositionWithoutAnAsset) {
  Stage stage(GetParam());
  stage.load(1, Kind::clip);
  ASSERT_TRUE(stage.hears("ready 1"));
  stage.seek(0.5);
  ASSERT_TRUE(stage.hasSeekEnds(1));
  EXPECT_NEAR(stage.engine().currentTime().seconds, 0.5, 0.05);
  stage.engine().load(2, nullptr);
  EXPECT_EQ(stage.engine().currentTime(), CMTime::zero);
  stage.seek(0);
  ASSERT_TRUE(stage.hasSeekEnds(2));
  EXPECT_THAT(stage.seekEnds(), ElementsAre(true, false));
  EXPECT_FALSE(stage.draw());
}

TEST_P(MediaEngineContract, NeverCompletesASeekInsideTheCall) {
  Stage stage(GetParam());
  stage.seek(0);
  EXPECT_TRUE(stage.seekEnds().empty());
  ASSERT_TRUE(stage.hasSeekEnds(1));
  EXPECT_THAT(stage.seekEnds(), ElementsAre(false));
}

TEST_P(MediaEngineContract, SeeksToTheStartOfALoadWhoseBytesNeverCome) {
  Stage stage(GetParam());
  stage.load(1, Kind::silent);
  stage.seek(0);
  ASSERT_TRUE(stage.hasSeekEnds(1));
  EXPECT_THAT(stage.seekEnds(), ElementsAre(true));
}

TEST_P(MediaEngineContract, EndsEverySeekOnceAndOvertakenOnesUnfinished) {
  Stage stage(GetParam());
  stage.load(1, Kind::clip);
  ASSERT_TRUE(stage.hears("ready 1"));
  for (int i = 1; i <= 10; ++i) stage.seek(0.05 * i);
  ASSERT_TRUE(stage.hasSeekEnds(10));
  EXPECT_TRUE(stage.seekEnds().back());
  stage.seek(0.2);
  stage.load(2, Kind::clip);
  ASSERT_TRUE(stage.hasSeekEnds(11));
  ASSERT_TRUE(stage.hears("ready 2"));
  stage.seek(0.2);
  stage.release();
  ASSERT_TRUE(stage.hasSeekEnds(12));
  while (DispatchQueue::main().poll()) {
  }
  EXPECT_EQ(stage.seekEnds().size(), 12u);
}

TEST_P(MediaEngineContract, TellsTheEndOnceEachTimeItIsPlayedTo) {
  Stage stage(GetParam());
  stage.load(1, Kind::clip);
  stage.engine().setPlaying(true);
  ASSERT_TRUE(stage.hears("ready 1"));
  for (long round = 1; round <= 3; ++round) {
    stage.playToEnd();
    ASSERT_TRUE(stage.hears("end 1", round));
    EXPECT_EQ(stage.draw(), 1u);
    stage.engine().setPlaying(false);
    stage.engine().seek(CMTime::zero, nullptr);
    stage.engine().setPlaying(true);
  }
  stage.load(2, Kind::clip);
  ASSERT_TRUE(stage.hears("ready 2"));
  EXPECT_THAT(stage.reports(), ElementsAre("ready 1", "end 1", "end 1", "end 1", "ready 2"));
}

TEST_P(MediaEngineContract, TellsNothingToAListenerThatIsGone) {
  Stage stage(GetParam());
  stage.load(1, Kind::clip);
  stage.dropListener();
  stage.seek(0.1);
  EXPECT_TRUE(stage.hasSeekEnds(1));
}

TEST_P(MediaEngineContract, TellsNothingOfAnAssetBeforeItIsLoaded) {
  Stage stage(GetParam());
  stage.load(1, Kind::clip);
  ASSERT_TRUE(stage.hears("ready 1"));
  auto clip = stage.expect(Kind::clip);
  EXPECT_EQ(stage.draw(), 1u);
  EXPECT_THAT(stage.reports(), ElementsAre("ready 1"));
  stage.load(2, Kind::clip, std::move(clip));
  EXPECT_EQ(stage.engine().currentTime(), CMTime::zero);
  ASSERT_TRUE(stage.hears("ready 2"));
  EXPECT_EQ(stage.draw(), 2u);
  EXPECT_EQ(stage.engine().currentTime(), CMTime::zero);
  auto broken = stage.expect(Kind::broken);
  stage.seek(0.5);
  ASSERT_TRUE(stage.hasSeekEnds(1));
  EXPECT_THAT(stage.reports(), ElementsAre("ready 1", "ready 2"));
  stage.load(3, Kind::broken, std::move(broken));
  ASSERT_TRUE(stage.hears("failed 3"));
  EXPECT_THAT(stage.reports(), ElementsAre("ready 1", "ready 2", "failed 3"));
}

TEST_P(MediaEngineContract, LoadsWhatIsLoadedAndExpectedAsWell) {
  Stage stage(GetParam());
  const auto asset = stage.makeAsset(Kind::clip);
  stage.load(1, Kind::clip, asset);
  stage.engine().expect({asset});
  ASSERT_TRUE(stage.hears("ready 1"));
  stage.load(2, Kind::clip, asset);
  ASSERT_TRUE(stage.hears("ready 2"));
  EXPECT_EQ(stage.draw(), 2u);
}

TEST_P(MediaEngineContract, LetsGoOfWhatIsNoLongerExpected) {
  Stage stage(GetParam());
  stage.load(1, Kind::clip);
  ASSERT_TRUE(stage.hears("ready 1"));
  for (const auto kind : {Kind::clip, Kind::silent}) {
    std::weak_ptr<AVURLAsset> expected = stage.expect(kind);
    stage.engine().expect({});
    EXPECT_TRUE(eventually([&] { return expected.expired(); }));
  }
  EXPECT_EQ(stage.draw(), 1u);
  EXPECT_THAT(stage.reports(), ElementsAre("ready 1"));
}

TEST_P(MediaEngineContract, IsReleasedAtOnceOnEveryPath) {
  using Path = std::function<void(Stage&)>;
  const Path paths[] = {
      [](Stage&) {},
      [](Stage& stage) { stage.load(1, Kind::silent); },
      [](Stage& stage) {
        stage.load(1, Kind::silent);
        DispatchQueue::main().runUntil([] { return false; }, 100ms);
      },
      [](Stage& stage) {
        stage.engine().setPlaying(true);
        stage.load(1, Kind::clip);
        ASSERT_TRUE(stage.hears("ready 1"));
      },
      [](Stage& stage) {
        stage.load(1, Kind::clip);
        ASSERT_TRUE(stage.hears("ready 1"));
        stage.load(2, Kind::silent);
        stage.seek(0.5);
      },
      [](Stage& stage) {
        stage.load(1, Kind::clip);
        ASSERT_TRUE(stage.hears("ready 1"));
        stage.expect(Kind::silent);
      },
  };
  for (const auto& path : paths) {
    Stage stage(GetParam());
    path(stage);
    const auto start = std::chrono::steady_clock::now();
    stage.release();
    EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
  }
}

TEST_P(MediaEngineContract, TakesOperationsFromAnyThread) {
  Stage stage(GetParam());
  const auto clip = stage.makeAsset(Kind::clip);
  std::vector<std::jthread> threads;
  for (unsigned i = 0; i < 4; ++i) {
    threads.emplace_back([&, i] {
      for (unsigned round = 0; round < 50; ++round) {
        stage.engine().load(1 + round * 4 + i, nullptr);
        stage.engine().setPlaying(round % 2 == 0);
        stage.engine().setMuted(round % 2 == 0);
        stage.engine().setWaitsToMinimizeStalling(i % 2 == 0);
        stage.engine().seek({0.1 * i}, nullptr);
        stage.engine().expect({clip});
        stage.engine().currentTime();
      }
    });
  }
  threads.clear();
  stage.load(1000, Kind::clip);
  EXPECT_TRUE(stage.hears("ready 1000"));
}

}  // namespace tavrin::testing
