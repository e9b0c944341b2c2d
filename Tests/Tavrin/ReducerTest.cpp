#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Platform/Foundation/DispatchQueue.hpp"
#include "Tavrin/VideoFeature.hpp"
#include "Tavrin/VideoFeatureEffects.hpp"
#include "Tests/Support/SampleMedia.hpp"
#include "Tests/Support/ScriptedEngine.hpp"

namespace tavrin {
namespace {

using ::testing::ElementsAre;
using testing::image;
using ::testing::IsEmpty;
using testing::ScriptedEngine;
using testing::video;
using Business = VideoFeature::BusinessAction;
using Direction = StepEffect::Direction;

class ReducerTest : public ::testing::Test {
 protected:
  void SetUp() override { ScriptedEngine::install(); }

  Effect<VideoFeatureAction> reduce(Business action) {
    return feature.reduce(state, VideoFeatureAction::business(std::move(action)));
  }
  Effect<VideoFeatureAction> setMedia(const Media& media, bool back = false, bool loops = false) {
    return reduce(Business::setMedia(SetMediaValues(media.id, back, loops)));
  }
  // A player with an item, whose operations so far are forgotten.
  void givePlayer() {
    reduce(Business::setPlayerIfNil(AVPlayerItem::make(*a.url), std::nullopt));
    engine = ScriptedEngine::last();
    engine->takeOperations();
  }
  static void expectStep(const Effect<VideoFeatureAction>& effect, Direction direction,
                         std::int64_t position, const std::optional<UUID>& mediaId) {
    const auto* step = effect.operation<StepEffect>();
    ASSERT_NE(step, nullptr);
    EXPECT_EQ(step->direction, direction);
    EXPECT_EQ(step->position, position);
    EXPECT_EQ(step->mediaId, mediaId);
  }

  const Media a = video("a", true);
  const Media b = image("b");
  const Media c = video("c");
  VideoFeature feature;
  VideoFeatureState state{{a, b, c}};
  std::shared_ptr<testing::EngineScript> engine;
};

TEST_F(ReducerTest, SetMediaWithoutAnIdentifierOnlyPausesAndClears) {
  givePlayer();
  state.playerIsSet = true;
  state.videoIndex = 1;
  state.currentMedia = b;
  EXPECT_TRUE(reduce(Business::setMedia(SetMediaValues(std::nullopt, false, true))).isNone());
  EXPECT_THAT(engine->operations(), ElementsAre("setPlaying false"));
  EXPECT_FALSE(state.playerIsSet());
  EXPECT_EQ(state.videoIndex(), 1);
  EXPECT_EQ(state.currentMedia(), b);
}

TEST_F(ReducerTest, TheFirstSetMediaHoldsThePositionWhateverItNames) {
  state.managerId = UUID::random();
  const auto effect = setMedia(c);
  expectStep(effect, Direction::forward, 0, c.id);
  EXPECT_EQ(effect.operation<StepEffect>()->managerId, state.managerId());
  EXPECT_EQ(effect.operation<StepEffect>()->media, state.media());
  EXPECT_EQ(state.videoIndex(), 0);
}

TEST_F(ReducerTest, LaterSetMediaMoveByOneEvenOntoTheCurrentItemAndPastTheEnd) {
  state.currentMedia = a;
  expectStep(setMedia(a), Direction::forward, 1, a.id);
  EXPECT_EQ(state.currentMedia(), a) << "kept until the step has delivered";
  expectStep(setMedia(c), Direction::forward, 2, c.id);
  expectStep(setMedia(c), Direction::forward, 3, c.id);
  // Forward has run out: the step turns back.
  expectStep(setMedia(a), Direction::back, 2, a.id);
  expectStep(setMedia(a, false, true), Direction::forward, 0, a.id);
}

TEST_F(ReducerTest, SetMediaBackwardsStopsAtTheFirstOrWraps) {
  EXPECT_TRUE(setMedia(a, true, false).isNone());
  EXPECT_EQ(state.videoIndex(), 0);
  expectStep(setMedia(c, true, true), Direction::back, 2, c.id);
  EXPECT_EQ(state.videoIndex(), 2);
}

TEST_F(ReducerTest, NextMediaEndsOnePastTheLastAndKeepsClearingThere) {
  givePlayer();
  state.currentMedia = c;
  state.videoIndex = 2;
  expectStep(reduce(Business::nextMedia()), Direction::forward, 3, std::nullopt);
  EXPECT_EQ(state.currentMedia(), std::nullopt);
  expectStep(reduce(Business::nextMedia()), Direction::forward, 3, std::nullopt);
  state.currentMedia = c;
  EXPECT_TRUE(reduce(Business::nextMedia()).isNone());
  EXPECT_EQ(state.currentMedia(), std::nullopt);
  EXPECT_EQ(state.videoIndex(), 3);
  EXPECT_THAT(engine->operations(),
              ElementsAre("setPlaying false", "setPlaying false", "setPlaying false"));
}

TEST_F(ReducerTest, PrevMediaAtTheFirstOnlyPausesAndClears) {
  givePlayer();
  state.currentMedia = a;
  EXPECT_TRUE(reduce(Business::prevMedia()).isNone());
  EXPECT_EQ(state.currentMedia(), std::nullopt);
  EXPECT_THAT(engine->operations(), ElementsAre("setPlaying false"));
  state.videoIndex = 3;
  expectStep(reduce(Business::prevMedia()), Direction::back, 2, std::nullopt);
}

TEST_F(ReducerTest, TheMuteFlagsAreInvertedEachFromItsOwnValue) {
  reduce(Business::muteVideo());
  EXPECT_FALSE(state.isMuted()) << "nothing to mute without a player";
  givePlayer();
  state.player()->setMuted(true);
  reduce(Business::muteVideo());
  EXPECT_TRUE(state.isMuted());
  EXPECT_FALSE(state.player()->isMuted());
}

TEST_F(ReducerTest, OnlyACurrentVideoIsPlayed) {
  givePlayer();
  reduce(Business::playVideo());
  state.currentMedia = b;
  reduce(Business::playVideo());
  EXPECT_THAT(engine->operations(), IsEmpty());
  state.currentMedia = a;
  reduce(Business::playVideo());
  EXPECT_THAT(engine->operations(), ElementsAre("setPlaying true"));
}

TEST_F(ReducerTest, SetPlayerIfNilReplacesThePlayerAndTakesItsItemsStatus) {
  const auto item = AVPlayerItem::make(*a.url);
  item->setStatus(AVPlayerItem::Status::failed, Error{"broken"});
  reduce(Business::setPlayerIfNil(item, true));
  const auto first = state.player();
  EXPECT_EQ(first->currentItem(), item);
  EXPECT_EQ(first->actionAtItemEnd(), AVPlayer::ActionAtItemEnd::pause);
  EXPECT_FALSE(first->automaticallyWaitsToMinimizeStalling());
  EXPECT_EQ(state.playerStatus(), AVPlayerItem::Status::failed);
  reduce(Business::setPlayerIfNil(nullptr, false));
  EXPECT_NE(state.player(), first);
  EXPECT_EQ(state.player()->actionAtItemEnd(), AVPlayer::ActionAtItemEnd::advance);
  EXPECT_EQ(state.playerStatus(), std::nullopt);
}

TEST_F(ReducerTest, TheStatusIsASnapshot) {
  const auto item = AVPlayerItem::make(*a.url);
  reduce(Business::setPlayerStatus(item));
  item->setStatus(AVPlayerItem::Status::readyToPlay);
  EXPECT_EQ(state.playerStatus(), AVPlayerItem::Status::unknown);
  reduce(Business::setPlayerStatus(nullptr));
  EXPECT_EQ(state.playerStatus(), std::nullopt);
}

TEST_F(ReducerTest, EffectsCaptureWhatTheStateHoldsThen) {
  state.managerId = UUID::random();
  EXPECT_EQ(reduce(Business::prepareMedia()).operation<PrepareEffect>()->media, state.media());

  const SetPlayerValues values(*a.url, "video/mp4", true);
  const auto before = state;
  const auto without = reduce(Business::setPlayer(values));
  EXPECT_EQ(state, before) << "setPlayer changes nothing at once";
  EXPECT_EQ(without.operation<PlayerEffect>()->player, nullptr);
  givePlayer();
  const auto with = reduce(Business::setPlayer(values));
  EXPECT_EQ(with.operation<PlayerEffect>()->player, state.player());
  EXPECT_EQ(with.operation<PlayerEffect>()->values, values);
  EXPECT_EQ(with.operation<PlayerEffect>()->managerId, state.managerId());
}

TEST_F(ReducerTest, DeinitReleasesThePlayerAndNothingElse) {
  state.managerId = UUID::random();
  EXPECT_EQ(reduce(Business::playerDeinit()).operation<TeardownEffect>()->managerId,
            state.managerId());
  givePlayer();
  state.currentMedia = a;
  state.playerIsSet = true;
  reduce(Business::playerDeinit());
  EXPECT_EQ(state.player(), nullptr);
  EXPECT_THAT(engine->operations(), ElementsAre("setPlaying false", "release"));
  EXPECT_EQ(state.currentMedia(), a);
  EXPECT_TRUE(state.playerIsSet());
  EXPECT_TRUE(state.managerId().has_value());
}

TEST_F(ReducerTest, ValuesCompareByContentAndPlayersAndItemsByIdentity) {
  const auto item = AVPlayerItem::make(*a.url);
  EXPECT_EQ(Business::setPlayerStatus(item), Business::setPlayerStatus(item));
  EXPECT_EQ(Business::setPlayerStatus(nullptr), Business::setPlayerStatus(nullptr));
  EXPECT_NE(Business::setPlayerStatus(item), Business::setPlayerStatus(AVPlayerItem::make(*a.url)));
  EXPECT_NE(SetMediaValues(a.id, true, true), SetMediaValues(a.id, false, true));
  EXPECT_NE(Business::pause(), Business::playVideo());
  auto other = state;
  state.player = AVPlayer::make(nullptr);
  other.player = AVPlayer::make(nullptr);
  EXPECT_NE(state, other);
  other.player = state.player();
  EXPECT_EQ(state, other);
}

TEST_F(ReducerTest, CasePathsEmbedAndExtract) {
  const Business::AllCasePaths paths;
  const SetMediaValues values(a.id, false, true);
  EXPECT_EQ(paths.setMedia.embed(values), Business::setMedia(values));
  EXPECT_EQ(paths.setMedia.extract(Business::setMedia(values)), values);
  EXPECT_EQ(paths.setMedia.extract(Business::pause()), std::nullopt);
  EXPECT_EQ(paths.pause.embed({}), Business::pause());
  EXPECT_TRUE(paths.pause.extract(Business::pause()).has_value());
  const auto action = VideoFeatureAction::business(Business::pause());
  EXPECT_EQ(VideoFeatureAction::AllCasePaths().business.extract(action), Business::pause());
}

}  // namespace
}  // namespace tavrin
