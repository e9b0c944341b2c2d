#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "App/Seeking.hpp"
#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/Testing/ScriptedEngine.hpp"

namespace tavrin::app {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace std::chrono_literals;

TEST(Seeking, KeepsTheNewestWishAndLetsItOvertakeASeekThatWaitsForBytes) {
  testing::ScriptedEngine::install();
  const auto player = AVPlayer::make(AVPlayerItem::make(*URL::parse("http://host/a.mp4")));
  const auto engine = testing::ScriptedEngine::last();
  engine->setHoldsSeeks(true);
  engine->takeOperations();
  const auto endSeek = [&] {
    engine->endSeek();
    DispatchQueue::main().poll();
  };
  int ended = 0;
  const auto seeking = Seeking::make([&] { ++ended; });

  const auto now = Seeking::Clock::now();
  for (const double wish : {1.0, 2.0, 3.0}) seeking->to(wish, player, now);
  EXPECT_THAT(engine->takeOperations(), ElementsAre("seek 1"));
  EXPECT_EQ(seeking->target(), 3);
  endSeek();
  EXPECT_THAT(engine->takeOperations(), ElementsAre("seek 3"));
  EXPECT_EQ(ended, 0);
  endSeek();
  EXPECT_EQ(seeking->target(), std::nullopt);
  EXPECT_EQ(ended, 1);

  seeking->to(9, player, now);
  seeking->to(4, player, now);
  seeking->tick(now + 200ms);
  EXPECT_THAT(engine->takeOperations(), ElementsAre("seek 9"));
  EXPECT_FALSE(seeking->isWaiting(now + 200ms));
  seeking->tick(now + 400ms);
  EXPECT_THAT(engine->takeOperations(), ElementsAre("seek 4"));
  DispatchQueue::main().poll();  // the end of the one that was overtaken
  EXPECT_EQ(seeking->target(), 4);
  seeking->forget();
  endSeek();
  EXPECT_THAT(engine->takeOperations(), IsEmpty());
  EXPECT_EQ(ended, 1);
}

}  // namespace
}  // namespace tavrin::app
