#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "Tavrin/Feature/PlayerLooping.hpp"
#include "Tavrin/Feature/VideoFeature.hpp"
#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/Foundation/NotificationCenter.hpp"
#include "Tavrin/Testing/SampleMedia.hpp"
#include "Tavrin/Testing/ScriptedEngine.hpp"

namespace tavrin {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::ScriptedEngine;

class LoopingTest : public ::testing::Test {
 protected:
  LoopingTest() {
    ScriptedEngine::install();
    player = AVPlayer::make(newItem());
    engine = ScriptedEngine::last();
    engine->takeOperations();
  }
  static std::shared_ptr<AVPlayerItem> newItem() {
    return AVPlayerItem::make(*testing::video("a").url);
  }

  std::shared_ptr<AVPlayer> player;
  std::shared_ptr<testing::EngineScript> engine;
};

TEST_F(LoopingTest, OnlyTrueLoops) {
  VideoFeature::_loopVideo(std::nullopt, player);
  VideoFeature::_loopVideo(false, player);
  VideoFeature::_loopVideo(true, nullptr);
  EXPECT_EQ(player->actionAtItemEnd(), AVPlayer::ActionAtItemEnd::advance);
  engine->playToEnd();
  EXPECT_THAT(engine->operations(), IsEmpty());
  VideoFeature::_loopVideo(true, player);
  engine->playToEnd();
  EXPECT_THAT(engine->operations(), ElementsAre("setPlaying false", "seek 0", "setPlaying true"));
}

TEST_F(LoopingTest, EachRegistrationIsOneRestartAndRemovalTakesAllOfThem) {
  loopVideo(player);
  loopVideo(player);
  engine->playToEnd();
  EXPECT_THAT(engine->takeOperations(), ElementsAre("setPlaying false", "seek 0", "setPlaying true",
                                                    "seek 0", "setPlaying true"));
  removeLoopListener(*player);
  removeLoopListener(*player);
  engine->playToEnd();
  EXPECT_THAT(engine->operations(), ElementsAre("setPlaying false")) << "the end action stays";
}

TEST_F(LoopingTest, ARegistrationBelongsToTheItemThatWasCurrent) {
  const auto first = player->currentItem();
  loopVideo(player);
  player->replaceCurrentItem(newItem());
  removeLoopListener(*player);  // of the second item, which has none
  engine->takeOperations();
  engine->playToEnd();
  EXPECT_THAT(engine->takeOperations(), ElementsAre("setPlaying false"));
  player->replaceCurrentItem(first);
  engine->takeOperations();
  engine->playToEnd();
  EXPECT_THAT(engine->operations(), ElementsAre("setPlaying false", "seek 0", "setPlaying true"));
}

// The engine's report waits in the main queue while the host pauses.
TEST_F(LoopingTest, AnEndReachedBeforeAPauseIsToldWhenThePlayerPlaysOn) {
  loopVideo(player);
  player->play();
  player->pause();
  engine->takeOperations();
  engine->playToEnd();
  EXPECT_THAT(engine->takeOperations(), IsEmpty());
  player->play();
  DispatchQueue::main().poll();
  EXPECT_THAT(engine->takeOperations(),
              ElementsAre("setPlaying true", "setPlaying false", "seek 0", "setPlaying true"));
  player->pause();
  engine->playToEnd();
  player->seek(CMTime::zero);
  player->play();
  engine->takeOperations();
  DispatchQueue::main().poll();
  EXPECT_THAT(engine->operations(), IsEmpty()) << "the player had been moved";
}

// Two observers, between which another thread pauses: the second one restarts the player.
TEST_F(LoopingTest, AnEndThatIsBeingToldDoesNotRestartWhatAnotherThreadHasPaused) {
  struct Pausing {
    std::shared_ptr<AVPlayer> player;
  };
  const auto pausing = std::make_shared<Pausing>(player);
  NotificationCenter::defaultCenter().addObserver<Pausing>(
      pausing, [](Pausing& self) { std::thread([&self] { self.player->pause(); }).join(); },
      AVPlayerItemDidPlayToEndTime, player->currentItem());
  loopVideo(player);
  player->play();
  engine->playToEnd();
  EXPECT_FALSE(player->isPlaying());
  EXPECT_EQ(engine->takeOperations().back(), "seek 0");
  player->play();
  EXPECT_TRUE(player->isPlaying());
  EXPECT_EQ(engine->takeOperations().back(), "setPlaying true");
}

// The allocator likes to give a new item the address of the one just released.
TEST_F(LoopingTest, ARegistrationForAReleasedItemIsNotTakenForALaterOnes) {
  for (int i = 0; i < 100; ++i) {
    loopVideo(player);
    player->replaceCurrentItem(nullptr);
    player->replaceCurrentItem(newItem());
    engine->takeOperations();
    engine->playToEnd();
    ASSERT_THAT(engine->operations(), ElementsAre("setPlaying false"));
  }
}

TEST_F(LoopingTest, WithoutAnItemTheEndOfAnyItemRestarts) {
  player->replaceCurrentItem(nullptr);
  loopVideo(player);
  engine->takeOperations();
  NotificationCenter::defaultCenter().post(AVPlayerItemDidPlayToEndTime, newItem());
  EXPECT_THAT(engine->takeOperations(), ElementsAre("seek 0", "setPlaying true"));
  removeLoopListener(*player);
  NotificationCenter::defaultCenter().post(AVPlayerItemDidPlayToEndTime, newItem());
  EXPECT_THAT(engine->operations(), IsEmpty());
}

TEST_F(LoopingTest, AReleasedPlayerHearsNothing) {
  const auto item = player->currentItem();
  loopVideo(player);
  player.reset();
  engine->takeOperations();
  NotificationCenter::defaultCenter().post(AVPlayerItemDidPlayToEndTime, item);
  EXPECT_THAT(engine->operations(), IsEmpty());
}

}  // namespace
}  // namespace tavrin
