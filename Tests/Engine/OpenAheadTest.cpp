#include <gtest/gtest.h>

#include <array>

#include "Tavrin/Media/OpenAhead.hpp"

namespace tavrin {
namespace {

/// An engine as the ledger sees it.
struct Holder {
  int told = 0;
  int held = 0;
  OpenAheadShare share{[this] { ++told; }};

  void want(std::size_t count) { share.want(count); }
  void takeAll() {
    while (share.take()) ++held;
  }
  void giveBackAll() {
    for (; held > 0; --held) share.giveBack();
  }
};

TEST(OpenAheadTest, TheLikeliestOfAllComeBeforeTheSecondOfAny) {
  std::array<Holder, 5> holders;
  for (std::size_t i = 0; i < 3; ++i) {
    holders[i].want(9);
    holders[i].takeAll();
    EXPECT_EQ(holders[i].held, 2);
  }
  holders[0].told = 0;
  holders[3].want(2);
  holders[4].want(2);
  EXPECT_EQ(holders[0].share.limit(), 1U) << "it has said longest ago what it wants";
  EXPECT_EQ(holders[4].share.limit(), 2U);
  EXPECT_GT(holders[0].told, 0);
  EXPECT_FALSE(holders[4].share.take()) << "before the others have let go";
  holders[4].told = 0;
  holders[0].share.giveBack();
  holders[0].held--;
  EXPECT_GT(holders[4].told, 0);
  EXPECT_TRUE(holders[4].share.take());
  EXPECT_FALSE(holders[4].share.take());
  holders[4].share.giveBack();
}

TEST(OpenAheadTest, NobodyHoldsAnythingWhereTheHostForbidsItOrMemoryIsScarce) {
  for (const auto& [forbid, allow] :
       {std::pair<void (*)(), void (*)()>{[] { OpenAhead::setAllowed(false); },
                                          [] { OpenAhead::setAllowed(true); }},
        {[] { OpenAhead::setUnderMemoryPressure(true); },
         [] { OpenAhead::setUnderMemoryPressure(false); }}}) {
    Holder holder;
    holder.want(1);
    holder.takeAll();
    EXPECT_EQ(holder.held, 1);
    holder.told = 0;
    forbid();
    EXPECT_EQ(holder.told, 1);
    EXPECT_EQ(holder.share.limit(), 0U);
    holder.giveBackAll();
    EXPECT_FALSE(holder.share.take());
    allow();
    EXPECT_TRUE(holder.share.take());
  }
}

TEST(OpenAheadTest, AShareThatEndsGivesBackWhatItHeld) {
  std::array<Holder, 3> others;
  {
    Holder last;
    for (auto& other : others) other.want(2);
    last.want(2);
    last.takeAll();
    EXPECT_EQ(last.held, 2);
    for (auto& other : others) other.takeAll();
    EXPECT_EQ(others[0].held + others[1].held + others[2].held, 4);
  }
  for (auto& other : others) other.takeAll();
  EXPECT_EQ(others[0].held + others[1].held + others[2].held, 6);
}

}  // namespace
}  // namespace tavrin
