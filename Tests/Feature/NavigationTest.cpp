#include <gtest/gtest.h>

#include <limits>

#include "Tavrin/Feature/VideoFeature.hpp"
#include "Tavrin/Testing/SampleMedia.hpp"

namespace tavrin {
namespace {

using testing::image;
using testing::video;
using Position = std::optional<std::int64_t>;

const MediaList none;
const MediaList three({video("a"), video("b"), video("c")});

TEST(Navigation, NextPositionHoldsThenWrapsThenEndsOnePastTheLast) {
  const auto next = VideoFeature::_nextMediaIndex;
  EXPECT_EQ(next(0, false, three, false), Position(1));
  EXPECT_EQ(next(2, false, three, false), Position(3));
  EXPECT_EQ(next(2, false, three, true), Position(0));
  EXPECT_EQ(next(3, false, three, false), std::nullopt);
  EXPECT_EQ(next(3, false, three, true), std::nullopt);
  EXPECT_EQ(next(2, true, three, true), Position(2)) << "holding wins over wrapping";
  EXPECT_EQ(next(7, true, three, false), Position(7)) << "holding wins over the range";
  EXPECT_EQ(next(0, true, none, false), Position(0));
  EXPECT_EQ(next(0, false, none, true), std::nullopt);
  EXPECT_EQ(next(-1, false, none, true), Position(0));
  EXPECT_EQ(next(std::numeric_limits<std::int64_t>::max(), false, three, true), std::nullopt);
}

TEST(Navigation, PreviousPositionWrapsOrEndsAtTheFirst) {
  const auto previous = VideoFeature::_prevMediaIndex;
  EXPECT_EQ(previous(3, three, false), Position(2));
  EXPECT_EQ(previous(1, three, false), Position(0));
  EXPECT_EQ(previous(0, three, false), std::nullopt);
  EXPECT_EQ(previous(0, three, true), Position(2));
  EXPECT_EQ(previous(-1, three, true), std::nullopt);
  EXPECT_EQ(previous(0, none, true), Position(-1));
  EXPECT_EQ(previous(0, none, false), std::nullopt);
}

TEST(Navigation, NeighboursAreVideosCountedFromAVideo) {
  const auto a = video("a");
  const auto c = video("c");
  const auto d = video("d");
  const MediaList list({a, image("b"), c, d});
  const auto next = VideoFeature::_getNextVideo;
  const auto previous = VideoFeature::_getPreviousVideo;
  EXPECT_EQ(next(0, 1, list), c);
  EXPECT_EQ(next(0, 2, list), d);
  EXPECT_EQ(next(0, 3, list), std::nullopt);
  EXPECT_EQ(previous(3, 1, list), c);
  EXPECT_EQ(previous(3, 2, list), a) << "position 0 is part of the scan";
  EXPECT_EQ(previous(0, 1, list), std::nullopt);
  EXPECT_EQ(next(1, 1, list), std::nullopt) << "no neighbours around an image";
  EXPECT_EQ(previous(1, 1, list), std::nullopt);
  for (const std::int64_t outside : {-1, 4}) {
    EXPECT_EQ(next(outside, 1, list), std::nullopt);
    EXPECT_EQ(previous(outside, 1, list), std::nullopt);
  }
  EXPECT_EQ(next(0, 0, list), std::nullopt);
}

TEST(Navigation, ReadingOutsideTheListIsAbsent) {
  EXPECT_EQ(safe(three, -1), std::nullopt);
  EXPECT_EQ(safe(three, 3), std::nullopt);
  EXPECT_EQ(safe(three, 0), three[std::int64_t{0}]);
}

TEST(Navigation, AStateDropsAbsentItemsAndLaterOnesOfAnIdentifier) {
  const auto a = video("a");
  const auto b = image("b");
  auto duplicate = video("other");
  duplicate.id = a.id;
  const VideoFeatureState state({a, std::nullopt, b, duplicate});
  EXPECT_EQ(state.media(), MediaList({a, b}));
}

}  // namespace
}  // namespace tavrin
