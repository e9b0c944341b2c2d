#include <gtest/gtest.h>

#include "Tavrin/Mpv/Internal/StallWait.hpp"

namespace tavrin {
namespace {

// Plays a clip of 100 bytes a second with a mean rate from the stall on, and counts the stalls that
// follow.
int stallsAfter(double left, double rate) {
  StallWait wait{.left = left, .clipRate = 100};
  constexpr double step = 0.01;
  const auto isAllThere = [&] { return wait.bytesCome >= left * 100; };
  while (wait.bytesCome / 100 < wait.stock() && !isAllThere()) {
    wait.waited += step;
    wait.bytesCome += rate * step;
  }
  double come = wait.bytesCome;
  for (double played = 0; played < left; played += step) {
    if (come < played * 100 && come < left * 100) return 1;
    come += rate * step;
  }
  return 0;
}

TEST(StallWait, PlaysOnToTheEndAtTheRateAtWhichBytesCome) {
  for (const double left : {1.0, 4.0, 8.0}) {
    for (const double rate : {50.0, 80.0, 95.0, 120.0, 1000.0}) {
      const bool canHold = left * (1 - rate / 100) * 100 / rate < StallWait::longest;
      if (!canHold) continue;
      EXPECT_EQ(stallsAfter(left, rate), 0) << left << " s left at " << rate;
    }
  }
}

TEST(StallWait, WaitsNoLongerThanItHasTo) {
  const StallWait half{.waited = 1, .left = 4, .clipRate = 100, .bytesCome = 50};
  EXPECT_NEAR(half.stock(), 2, 0.5) << "half of the rate, half of what is left";
  auto quick = half;
  quick.bytesCome = 120;
  EXPECT_EQ(quick.stock(), StallWait::leastStock) << "bytes come faster than they are played";
  auto unknown = half;
  unknown.clipRate = 0;
  EXPECT_EQ(unknown.stock(), StallWait::leastStock);
  auto nothing = half;
  nothing.bytesCome = 0;
  EXPECT_EQ(nothing.stock(), 4) << "as much as there is";
  nothing.waited = StallWait::longest;
  EXPECT_EQ(nothing.stock(), StallWait::leastStock);
  nothing.waited = 0;
  EXPECT_EQ(nothing.stock(), StallWait::mostStock) << "no rate has been measured";
}

}  // namespace
}  // namespace tavrin
