#include <gtest/gtest.h>

#include <new>

#include "Tavrin/Testing/ManualExecutor.hpp"
#include "Tavrin/View/FrameStore.hpp"

namespace tavrin {
namespace {

using std::chrono::milliseconds;
using testing::ManualExecutor;

constexpr int side = 16;
constexpr std::int64_t frameBytes = side * side * 4;

// Frame i is filled with the byte i. Fails at a frame, and counts what it is asked for.
class ScriptedDecoder final : public ImageDecoder {
 public:
  explicit ScriptedDecoder(std::vector<milliseconds> delays) : delays_(std::move(delays)) {}

  const std::vector<milliseconds>& delays() const override { return delays_; }
  std::shared_ptr<const Bitmap> next() override {
    if (position == std::min(failsAt, delays_.size())) return nullptr;
    if (position == lacksMemoryAt) throw std::bad_alloc();
    ++decoded;
    auto bitmap = std::make_shared<Bitmap>();
    *bitmap = {side, side, std::vector<std::uint8_t>(frameBytes, std::uint8_t(position++))};
    return bitmap;
  }
  void rewind() override { position = 0; }
  std::optional<std::int64_t> plays() const override { return rounds; }

  std::optional<std::int64_t> rounds;

  std::size_t position = 0;
  std::size_t failsAt = SIZE_MAX;
  std::size_t lacksMemoryAt = SIZE_MAX;
  int decoded = 0;

 private:
  std::vector<milliseconds> delays_;
};

class FrameStoreTest : public ::testing::Test {
 protected:
  void play(std::vector<milliseconds> delays, std::int64_t budget,
            std::optional<std::int64_t> rounds = std::nullopt) {
    auto owned = std::make_unique<ScriptedDecoder>(std::move(delays));
    owned->rounds = rounds;
    decoder = owned.get();
    store = FrameStore::make(std::move(owned), executor, budget);
  }
  int shownAt(milliseconds time) { return store->at(time).bitmap->pixels.front(); }
  int shownAfterDecoding(milliseconds time) {
    store->at(time);
    executor.runAll();
    return shownAt(time);
  }

  ManualExecutor executor;
  ScriptedDecoder* decoder = nullptr;
  std::shared_ptr<FrameStore> store;
};

TEST_F(FrameStoreTest, AnimationsEndBeforeAFrameThatThereIsNoMemoryFor) {
  play({milliseconds(50), milliseconds(50), milliseconds(50)}, frameBytes * 3);
  decoder->lacksMemoryAt = 2;
  store->at(milliseconds(0));
  executor.runAll();
  EXPECT_EQ(shownAt(milliseconds(60)), 1);
  EXPECT_EQ(shownAt(milliseconds(110)), 0) << "it starts again after the second frame";
}

TEST_F(FrameStoreTest, TheClockChoosesTheFrame) {
  play({milliseconds(50), milliseconds(20), milliseconds(100)}, frameBytes * 3);
  store->at(milliseconds(0));
  executor.runAll();
  const std::vector<std::pair<int, int>> expected{{-5, 0},
                                                  {0, 0},
                                                  {49, 0},
                                                  {50, 1},
                                                  {69, 1},
                                                  {70, 2},
                                                  {169, 2},
                                                  {170, 0},
                                                  {220, 1},
                                                  {239, 1},
                                                  {170 * 1000 + 75, 2}};
  for (const auto& [time, frame] : expected) EXPECT_EQ(shownAt(milliseconds(time)), frame) << time;
  EXPECT_EQ(store->at(milliseconds(60)).remaining, milliseconds(10));
  EXPECT_EQ(store->at(milliseconds(170)).remaining, milliseconds(50));
}

TEST_F(FrameStoreTest, RestsOnTheLastFrameAfterTheLastRound) {
  for (const std::int64_t budget : {std::int64_t{0}, frameBytes * 100}) {
    play(std::vector<milliseconds>(20, milliseconds(10)), budget, 3);
    EXPECT_EQ(shownAfterDecoding(milliseconds(599)), 19);
    EXPECT_EQ(store->at(milliseconds(599)).remaining, milliseconds(1));
    for (const milliseconds time : {milliseconds(600), milliseconds(1'000'000)}) {
      EXPECT_EQ(shownAfterDecoding(time), 19);
      EXPECT_EQ(store->at(time).remaining, std::nullopt) << "the host is woken for nothing";
    }
  }
}

TEST_F(FrameStoreTest, AStillHasNoNextFrame) {
  play({milliseconds(100)}, 0);
  EXPECT_EQ(shownAt(std::chrono::hours(5)), 0);
  EXPECT_EQ(store->at(milliseconds(0)).remaining, std::nullopt);
  EXPECT_TRUE(executor.isEmpty());
}

TEST_F(FrameStoreTest, WithinTheBudgetEachFrameIsDecodedOnce) {
  play(std::vector<milliseconds>(100, milliseconds(10)), frameBytes * 100);
  for (int time = 0; time < 5'000; time += 10) {
    EXPECT_EQ(shownAfterDecoding(milliseconds(time)), time / 10 % 100);
  }
  EXPECT_EQ(decoder->decoded, 100);
  EXPECT_EQ(store->bytesHeld(), frameBytes * 100);
}

TEST_F(FrameStoreTest, BeyondTheBudgetOnlyTheNextFramesAreHeld) {
  play(std::vector<milliseconds>(100, milliseconds(10)), frameBytes * 100 - 1);
  for (int time = 0; time < 5'000; time += 10) {
    store->at(milliseconds(time));
    EXPECT_EQ(shownAt(milliseconds(time)), time / 10 % 100) << "was not decoded ahead";
    executor.runAll();
    EXPECT_LE(store->bytesHeld(), frameBytes * 8);
  }
  EXPECT_LE(decoder->decoded, 510);
}

TEST_F(FrameStoreTest, ALateFrameLeavesTheLastOneStanding) {
  play(std::vector<milliseconds>(100, milliseconds(10)), 0);
  EXPECT_EQ(shownAt(milliseconds(500)), 0);
  EXPECT_EQ(store->at(milliseconds(500)).remaining, milliseconds(4));
  executor.runAll();
  EXPECT_EQ(shownAt(milliseconds(500)), 50);
  EXPECT_EQ(shownAfterDecoding(milliseconds(1'020)), 2) << "back means from the start";
}

TEST_F(FrameStoreTest, AFrameThatCannotBeDecodedEndsTheAnimation) {
  for (const std::int64_t budget : {std::int64_t{0}, frameBytes * 100}) {
    play(std::vector<milliseconds>(20, milliseconds(10)), budget);
    decoder->failsAt = 3;
    for (int time = 0; time < 30; time += 10) {
      EXPECT_EQ(shownAfterDecoding(milliseconds(time)), time / 10);
    }
    EXPECT_EQ(shownAfterDecoding(milliseconds(30)), 0);
    EXPECT_EQ(shownAfterDecoding(milliseconds(150 + 20)), 2);
  }
}

TEST_F(FrameStoreTest, NothingIsRetriedWhereTheFirstFrameFails) {
  play(std::vector<milliseconds>(20, milliseconds(10)), 0);
  shownAfterDecoding(milliseconds(100));
  decoder->failsAt = 0;
  store->at(milliseconds(200));
  executor.runAll();
  store->at(milliseconds(210));
  EXPECT_TRUE(executor.isEmpty());

  auto first = std::make_unique<ScriptedDecoder>(std::vector<milliseconds>(2, milliseconds(10)));
  first->failsAt = 0;
  EXPECT_EQ(FrameStore::make(std::move(first), executor, 0), nullptr);
}

TEST_F(FrameStoreTest, LettingGoOfTheStoreEndsItsWork) {
  play(std::vector<milliseconds>(1'000, milliseconds(10)), frameBytes * 1'000);
  store->at(milliseconds(0));
  executor.runOne();
  store.reset();
  EXPECT_TRUE(executor.runOne());
  EXPECT_TRUE(executor.isEmpty());
}

}  // namespace
}  // namespace tavrin
