#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Tavrin/Architecture/Observation.hpp"

namespace tavrin {
namespace {

struct State {
  Observed<int> number = 0;
  Observed<std::string> text;
  bool operator==(const State&) const = default;
};

TEST(Observation, TellsEachFieldsObserversOfEveryAssignmentAndOfNothingElse) {
  State state;
  int numbers = 0;
  int texts = 0;
  const auto first = state.number.observe([&] { ++numbers; });
  const auto second = state.text.observe([&] { ++texts; });
  state.number = 1;
  state.number = 1;
  state.number.modify([](int& n) {
    n += 1;
    n += 1;
  });
  EXPECT_EQ(state.number(), 3);
  EXPECT_EQ(numbers, 3) << "an equal value is told too, a change in place once";
  EXPECT_EQ(texts, 0);
}

TEST(Observation, CopiesAreEqualButObservedApart) {
  State state;
  int told = 0;
  const auto observation = state.number.observe([&] { ++told; });
  State copy = state;
  EXPECT_EQ(copy, state);
  copy.number = 5;
  EXPECT_EQ(told, 0);
  state = copy;
  EXPECT_EQ(told, 1) << "assigning a whole state changes its fields";
}

TEST(Observation, ObserversMayRemoveThemselvesOrOthersAndAddMoreWhileTold) {
  State state;
  std::vector<std::string> told;
  Observation self;
  Observation other;
  Observation added;
  self = state.number.observe([&] {
    told.emplace_back("self");
    self.cancel();
    other.cancel();
    added = state.number.observe([&] { told.emplace_back("added"); });
  });
  other = state.number.observe([&] { told.emplace_back("other"); });
  state.number = 1;
  state.number = 2;
  EXPECT_EQ(told, (std::vector<std::string>{"self", "added"}));
}

TEST(Observation, TrackingFiresOnceForTheFieldsThatWereRead) {
  State state;
  int changes = 0;
  const auto read = [&] {
    return withObservationTracking([&] { return state.number() + state.number(); },
                                   [&] { ++changes; });
  };
  EXPECT_EQ(read(), 0);
  state.text = "unread";
  EXPECT_EQ(changes, 0);
  state.number = 1;
  state.number = 2;
  EXPECT_EQ(changes, 1);
  EXPECT_EQ(read(), 4);
  state.number = 3;
  EXPECT_EQ(changes, 2);
}

TEST(Observation, ATrackedCopyStandsForWhatItWasCopiedFrom) {
  State state;
  int changes = 0;
  const auto read = [&] {
    const State copy = state;
    return copy.number();
  };
  withObservationTracking(read, [&] { ++changes; });
  state.number = 1;
  EXPECT_EQ(changes, 1);
}

TEST(Observation, AnObserverThatThrowsKeepsNothingFromTheOthers) {
  State state;
  int told = 0;
  const auto throwing = state.number.observe([] { throw std::runtime_error("observer"); });
  const auto other = state.number.observe([&] { ++told; });
  EXPECT_THROW(state.number = 1, std::runtime_error);
  EXPECT_EQ(told, 1);
  EXPECT_EQ(state.number(), 1);
}

TEST(Observation, ATrackedReadDoesNotOutliveItsState) {
  const auto token = std::make_shared<int>(0);
  {
    State state;
    withObservationTracking([&] { return state.number(); }, [token] {});
    EXPECT_EQ(token.use_count(), 2);
  }
  EXPECT_EQ(token.use_count(), 1);
}

}  // namespace
}  // namespace tavrin
