#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Tavrin/Architecture/Store.hpp"
#include "Tavrin/Feature/VideoFeature.hpp"
#include "Tavrin/Media/AVAudioSession.hpp"
#include "Tavrin/Testing/ManualExecutor.hpp"
#include "Tavrin/Testing/RecordingCache.hpp"
#include "Tavrin/Testing/SampleMedia.hpp"
#include "Tavrin/Testing/ScriptedEngine.hpp"
#include "Tests/Support/RecordingFeature.hpp"

namespace tavrin {
namespace {

using ::testing::ElementsAre;
using testing::image;
using ::testing::IsEmpty;
using testing::RecordingCache;
using testing::ScriptedEngine;
using testing::video;
using Business = VideoFeature::BusinessAction;

// Workouts from the host's side: its actions in; actions, cache calls and player operations out.
class EffectsTest : public ::testing::Test {
 protected:
  void start(std::vector<std::optional<Media>> media) {
    ScriptedEngine::install();
    feature = testing::recordingFeature(cache.client(), &actions);
    store.emplace(VideoFeatureState(std::move(media)), *feature,
                  StoreLoop{DispatchQueue::main(), executor});
  }
  void send(Business action) {
    post(std::move(action));
    settle();
  }
  void post(Business action) { store->send(VideoFeatureAction::business(std::move(action))); }
  void setMedia(const Media& media, bool back = false) {
    send(Business::setMedia(SetMediaValues(media.id, back, false)));
  }
  void settle() { executor.settle(DispatchQueue::main()); }
  std::vector<std::string> takeActions() { return std::exchange(actions, {}); }
  std::vector<std::string> takeCalls() { return std::exchange(cache.calls, {}); }
  const VideoFeatureState& state() const { return store->state(); }

  testing::ManualExecutor executor;
  RecordingCache cache{executor};
  std::vector<std::string> actions;
  std::optional<testing::RecordingFeature> feature;
  std::optional<Store<testing::RecordingFeature>> store;
};

TEST_F(EffectsTest, PreparingCountsVideosOnlyAndSavesThemInOrderUnderTheFirstItemsType) {
  start({image("i"), video("a"), video("b"), video("c")});
  send(Business::prepareMedia());
  EXPECT_THAT(cache.calls,
              ElementsAre("create 1", "prepare 1 a.mp4 b.mp4", "save 1 a.mp4 image/gif",
                          "save 1 b.mp4 image/gif", "save 1 c.mp4 image/gif"));
  EXPECT_THAT(actions, ElementsAre("prepareMedia", "saveManagerId"));
  EXPECT_EQ(cache.nameOf(state().managerId()), "1");
  EXPECT_EQ(AVAudioSession::sharedInstance().category(), AVAudioSession::Category::playback);
}

TEST_F(EffectsTest, PreparingWithoutVideosStillMakesTheManager) {
  start({image("i")});
  AVAudioSession::sharedInstance().setHook([](auto) -> bool { throw std::bad_function_call(); });
  send(Business::prepareMedia());
  AVAudioSession::sharedInstance().setHook(nullptr);
  EXPECT_THAT(cache.calls, ElementsAre("create 1", "prepare 1 - -"));
  send(Business::prepareMedia());
  EXPECT_EQ(cache.nameOf(state().managerId()), "2") << "the last manager made is kept";
}

TEST_F(EffectsTest, TheFirstStepMakesThePlayerAndTheNextReusesIt) {
  const auto a = video("a", true);
  const auto b = video("b");
  start({a, b, video("c")});
  send(Business::prepareMedia());
  takeActions();
  takeCalls();

  setMedia(a);
  EXPECT_THAT(takeActions(), ElementsAre("setMedia", "setPlayer", "setCurrentMedia",
                                         "setPlayerIfNil", "setPlayerIsSet", "playVideo"));
  EXPECT_THAT(takeCalls(), ElementsAre("forward 1 - b.mp4", "return 1 a.mp4 video/mp4"));
  const auto engine = ScriptedEngine::last();
  EXPECT_THAT(engine->takeOperations(),
              ElementsAre("load 1 http://host/a.mp4", "setWaitsToMinimizeStalling false",
                          "setPlaying true"));
  EXPECT_EQ(state().currentMedia(), a);
  EXPECT_TRUE(state().playerIsSet());

  setMedia(b);
  EXPECT_THAT(takeActions(), ElementsAre("setMedia", "setPlayer", "setCurrentMedia",
                                         "setPlayerStatus", "setPlayerIsSet", "playVideo"));
  EXPECT_THAT(takeCalls(), ElementsAre("forward 1 - c.mp4", "return 1 b.mp4 video/mp4"));
  EXPECT_THAT(engine->takeOperations(),
              ElementsAre("setPlaying false", "load 2 http://host/b.mp4", "seek 0",
                          "setWaitsToMinimizeStalling false", "setPlaying true"));
  EXPECT_EQ(state().player()->currentItem(), cache.items["b.mp4"]);

  setMedia(a, true);
  EXPECT_THAT(takeCalls(), ElementsAre("back 1 - c.mp4", "return 1 a.mp4 video/mp4"));
}

TEST_F(EffectsTest, PlayingStartsOnlyWhenTheSeekHasEnded) {
  const auto a = video("a");
  const auto b = video("b");
  start({a, b});
  setMedia(a);
  const auto engine = ScriptedEngine::last();
  engine->setHoldsSeeks(true);
  setMedia(b);
  EXPECT_FALSE(state().playerIsSet());
  EXPECT_FALSE(engine->isPlaying());
  engine->endSeek();
  settle();
  EXPECT_TRUE(state().playerIsSet());
  EXPECT_TRUE(engine->isPlaying());
}

TEST_F(EffectsTest, AnImageOrAVideoWithoutAnAddressBecomesCurrentWithoutAPlayerItem) {
  const auto picture = image("i");
  Media homeless(UUID::random(), std::nullopt, {"video/mp4"});
  start({picture, homeless});
  setMedia(picture);
  EXPECT_THAT(takeActions(), ElementsAre("setMedia", "setCurrentMedia"));
  setMedia(homeless);
  EXPECT_THAT(takeActions(), ElementsAre("setMedia", "setCurrentMedia"));
  EXPECT_THAT(cache.calls, ElementsAre("forward - - -", "forward - - -"));
}

TEST_F(EffectsTest, AStepPastTheEndPreparesNothingAndShowsNothing) {
  const auto a = video("a");
  start({a});
  setMedia(a);
  takeActions();
  takeCalls();
  send(Business::nextMedia());
  EXPECT_THAT(takeActions(), ElementsAre("nextMedia"));
  EXPECT_THAT(takeCalls(), ElementsAre("forward - - -"));
  EXPECT_EQ(state().videoIndex(), 1);
  send(Business::prevMedia());
  EXPECT_EQ(state().currentMedia(), a);
  EXPECT_TRUE(ScriptedEngine::last()->isPlaying());
}

TEST_F(EffectsTest, WithoutAnItemThePlayerIsEmptiedAndSaysSo) {
  const auto a = video("a");
  const auto b = video("b");
  cache.items["b.mp4"] = nullptr;
  start({a, b});
  setMedia(a);
  setMedia(b);
  EXPECT_EQ(state().player()->currentItem(), nullptr);
  EXPECT_EQ(state().playerStatus(), std::nullopt);
  EXPECT_TRUE(state().playerIsSet());
  EXPECT_EQ(actions.back(), "playVideo");
}

TEST_F(EffectsTest, AStepIsDoneWithAllThatItLeadsToBeforeTheNextBegins) {
  const auto a = video("a");
  const auto b = video("b");
  start({a, b});
  post(Business::setMedia(SetMediaValues(a.id, false, false)));
  post(Business::setMedia(SetMediaValues(b.id, false, false)));
  settle();
  EXPECT_THAT(actions,
              ElementsAre("setMedia", "setMedia", "setPlayer", "setCurrentMedia", "setPlayerIfNil",
                          "setPlayerIsSet", "playVideo", "setPlayer", "setCurrentMedia",
                          "setPlayerStatus", "setPlayerIsSet", "playVideo"));
  EXPECT_THAT(cache.calls, ElementsAre("forward - - b.mp4", "return - a.mp4 video/mp4",
                                       "forward - - b.mp4", "return - b.mp4 video/mp4"));
  EXPECT_EQ(ScriptedEngine::all().size(), 1U);
}

TEST_F(EffectsTest, TwoFirstItemsAtOnceEachMakeAPlayerAndTheReplacedOneHearsNothingMore) {
  start({video("a"), video("b")});
  for (const auto& media : state().media()) {
    post(Business::setPlayer(SetPlayerValues(*media.url, media.mimeType.rawValue, true)));
  }
  settle();
  const auto engines = ScriptedEngine::all();
  ASSERT_EQ(engines.size(), 2U);
  EXPECT_TRUE(engines[0]->isReleased());
  EXPECT_FALSE(engines[1]->isReleased());
}

TEST_F(EffectsTest, ThePlayerOutlivesTheCallOfItsSeek) {
  const auto a = video("a");
  const auto b = video("b");
  start({a, b});
  setMedia(a);
  const auto engine = ScriptedEngine::last();
  bool wasReleasedInside = true;
  engine->setInsideSeek([&] {
    send(Business::playerDeinit());
    EXPECT_EQ(actions.back(), "playVideo") << "the effect is not at its end";
    wasReleasedInside = engine->isReleased();
  });
  setMedia(b);
  EXPECT_FALSE(wasReleasedInside);
  EXPECT_TRUE(engine->isReleased());
}

TEST_F(EffectsTest, DeinitDestroysTheManagerAndAStepUnderWayNoLongerPlays) {
  const auto a = video("a");
  const auto b = video("b");
  start({a, b});
  send(Business::prepareMedia());
  setMedia(a);
  const auto engine = ScriptedEngine::last();
  engine->setHoldsSeeks(true);
  setMedia(b);
  takeCalls();
  send(Business::playerDeinit());
  EXPECT_THAT(takeCalls(), ElementsAre("destroy 1"));
  EXPECT_FALSE(engine->isReleased()) << "the step still holds the player";
  engine->endSeek();
  settle();
  EXPECT_EQ(actions.back(), "playVideo");
  EXPECT_TRUE(engine->isReleased());
  EXPECT_THAT(engine->operations().back(), "release");
  EXPECT_EQ(state().player(), nullptr);
}

TEST_F(EffectsTest, DeinitBeforeTheManagerIsKnownLeavesItInPlace) {
  start({video("a")});
  post(Business::prepareMedia());
  post(Business::playerDeinit());
  settle();
  EXPECT_THAT(cache.calls, ::testing::Contains("destroy -"));
  EXPECT_EQ(cache.nameOf(state().managerId()), "1");
}

}  // namespace
}  // namespace tavrin
