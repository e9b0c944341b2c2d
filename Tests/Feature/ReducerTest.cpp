#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Tavrin/Feature/VideoFeature.hpp"
#include "Tavrin/Feature/VideoFeatureEffects.hpp"
#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/Testing/SampleMedia.hpp"
#include "Tavrin/Testing/ScriptedEngine.hpp"

namespace tavrin {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using testing::image;
using ::testing::IsEmpty;
using testing::ScriptedEngine;
using ::testing::SizeIs;
using testing::video;
using Business = VideoFeature::BusinessAction;
using Direction = StepEffect::Direction;

class ReducerTest : public ::testing::Test {
 protected:
  void SetUp() override { ScriptedEngine::install(); }

  Effect<VideoFeatureAction> reduce(Business action) {
    return feature.reduce(state, VideoFeatureAction::business(std::move(action)));
  }
  void apply(Business action) { static_cast<void>(reduce(std::move(action))); }
  Effect<VideoFeatureAction> setMedia(const Media& media, bool back = false, bool loops = false) {
    return reduce(Business::setMedia(SetMediaValues(media.id, back, loops)));
  }
  // A player with an item, whose operations so far are forgotten.
  void givePlayer() {
    apply(Business::setPlayerIfNil(AVPlayerItem::make(*a.url), std::nullopt));
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

TEST_F(ReducerTest, SetMediaHoldsThePositionFirstAndThenMovesByOneWhateverItNames) {
  expectStep(setMedia(c), Direction::forward, 0, c.id);
  EXPECT_EQ(state.videoIndex(), 0);
  state.currentMedia = a;
  expectStep(setMedia(a), Direction::forward, 1, a.id);
  EXPECT_EQ(state.currentMedia(), a) << "kept until the step has delivered";
  expectStep(setMedia(c), Direction::forward, 2, c.id);
  expectStep(setMedia(c), Direction::forward, 3, c.id);
  // Forward has run out: the step turns back.
  expectStep(setMedia(a), Direction::back, 2, a.id);
  expectStep(setMedia(a, false, true), Direction::forward, 0, a.id);
  EXPECT_TRUE(setMedia(a, true, false).isNone());
  EXPECT_EQ(state.videoIndex(), 0);
  expectStep(setMedia(c, true, true), Direction::back, 2, c.id);
  EXPECT_EQ(state.videoIndex(), 2);
}

TEST_F(ReducerTest, NextAndPrevMediaPauseAndClearEvenWhereTheyEnd) {
  givePlayer();
  state.currentMedia = a;
  EXPECT_TRUE(reduce(Business::prevMedia()).isNone());
  EXPECT_EQ(state.currentMedia(), std::nullopt);
  state.currentMedia = c;
  state.videoIndex = 2;
  expectStep(reduce(Business::nextMedia()), Direction::forward, 3, std::nullopt);
  EXPECT_EQ(state.currentMedia(), std::nullopt);
  state.currentMedia = c;
  EXPECT_TRUE(reduce(Business::nextMedia()).isNone());
  EXPECT_EQ(state.currentMedia(), std::nullopt);
  EXPECT_EQ(state.videoIndex(), 3);
  expectStep(reduce(Business::prevMedia()), Direction::back, 2, std::nullopt);
  EXPECT_THAT(engine->operations(), ::testing::AllOf(SizeIs(4), Each("setPlaying false")));
}

TEST_F(ReducerTest, TheMuteFlagsAreInvertedEachFromItsOwnValue) {
  apply(Business::muteVideo());
  EXPECT_FALSE(state.isMuted()) << "nothing to mute without a player";
  givePlayer();
  state.player()->setMuted(true);
  apply(Business::muteVideo());
  EXPECT_TRUE(state.isMuted());
  EXPECT_FALSE(state.player()->isMuted());
}

TEST_F(ReducerTest, OnlyACurrentVideoIsPlayed) {
  givePlayer();
  apply(Business::playVideo());
  state.currentMedia = b;
  apply(Business::playVideo());
  EXPECT_THAT(engine->operations(), IsEmpty());
  state.currentMedia = a;
  apply(Business::playVideo());
  EXPECT_THAT(engine->operations(), ElementsAre("setPlaying true"));
}

TEST_F(ReducerTest, SetPlayerIfNilReplacesThePlayerAndTakesItsItemsStatus) {
  const auto item = AVPlayerItem::make(*a.url);
  item->setStatus(AVPlayerItemStatus::failed, Error{"broken"});
  apply(Business::setPlayerIfNil(item, true));
  const auto first = state.player();
  EXPECT_EQ(first->currentItem(), item);
  EXPECT_EQ(first->actionAtItemEnd(), AVPlayer::ActionAtItemEnd::pause);
  EXPECT_FALSE(first->automaticallyWaitsToMinimizeStalling());
  EXPECT_EQ(state.playerStatus(), AVPlayerItemStatus::failed);
  apply(Business::setPlayerIfNil(nullptr, false));
  EXPECT_NE(state.player(), first);
  EXPECT_EQ(state.player()->actionAtItemEnd(), AVPlayer::ActionAtItemEnd::advance);
  EXPECT_EQ(state.playerStatus(), std::nullopt);
  apply(Business::setPlayerStatus(item));
  item->setStatus(AVPlayerItemStatus::readyToPlay);
  EXPECT_EQ(state.playerStatus(), AVPlayerItemStatus::failed) << "as it was then";
}

TEST_F(ReducerTest, DeinitReleasesThePlayerAndNothingElse) {
  state.managerId = UUID::random();
  givePlayer();
  state.currentMedia = a;
  state.playerIsSet = true;
  apply(Business::playerDeinit());
  EXPECT_EQ(state.player(), nullptr);
  EXPECT_THAT(engine->operations(), ElementsAre("setPlaying false", "release"));
  EXPECT_EQ(state.currentMedia(), a);
  EXPECT_TRUE(state.playerIsSet());
  EXPECT_TRUE(state.managerId().has_value());
}

TEST_F(ReducerTest, PlayersAndItemsCompareByIdentity) {
  const auto status = [this] { return Business::setPlayerStatus(AVPlayerItem::make(*a.url)); };
  EXPECT_NE(status(), status());
  auto other = state;
  EXPECT_EQ(state, other);
  state.player = AVPlayer::make(nullptr);
  other.player = AVPlayer::make(nullptr);
  EXPECT_NE(state, other);
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
