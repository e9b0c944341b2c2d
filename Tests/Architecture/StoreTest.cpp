#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Tavrin/Architecture/Observation.hpp"
#include "Tavrin/Architecture/Store.hpp"
#include "Tavrin/Testing/ManualExecutor.hpp"

namespace tavrin {
namespace {

using testing::ManualExecutor;

struct CounterState {
  Observed<int> count = 0;
  Observed<std::string> note;
};

// Positive numbers are added; a negative one starts an effect that sends its parts one by one.
struct SendParts {
  std::function<void()> afterEach;

  Task<void> operator()(Send<int> send) const {
    for (const int part : {1, 10, 100}) {
      co_await send(part);
      afterEach();
    }
  }
};

struct Counter {
  using State = CounterState;
  using Action = int;

  std::function<void()> afterEachPart = nullptr;
  int* reduced = nullptr;

  Effect<int> reduce(State& state, int action) const {
    if (reduced) ++*reduced;
    if (action < 0) return Effect<int>::run(SendParts{afterEachPart});
    state.count.modify([action](int& count) { count += action; });
    return Effect<int>::none();
  }
};

class StoreTest : public ::testing::Test {
 protected:
  void settle() { executor.settle(mainQueue); }

  DispatchQueue mainQueue;
  ManualExecutor executor;
  StoreLoop loop{mainQueue, executor};
};

TEST_F(StoreTest, EachActionOfAnEffectIsReducedBeforeTheEffectGoesOn) {
  std::vector<int> seen;
  std::optional<Store<Counter>> store;
  const auto look = [&] { seen.push_back(store->state().count()); };
  store.emplace(CounterState{}, Counter{look}, loop);
  store->send(-1);
  EXPECT_EQ(store->state().count(), 0) << "the effect ran inside send";
  settle();
  EXPECT_EQ(seen, (std::vector{1, 11, 111}));
}

TEST_F(StoreTest, ActionsSentByAnObserverAreReducedAfterTheOneBeingTold) {
  Store<Counter> store({}, Counter{}, loop);
  std::vector<int> told;
  const auto observation = store.state().count.observe([&] {
    const int now = store.state().count();
    told.push_back(now);
    if (now < 3) store.send(1);
    told.push_back(-now);
  });
  store.send(1);
  EXPECT_EQ(store.state().count(), 3) << "send returned before the nested actions were reduced";
  EXPECT_EQ(told, (std::vector{1, -1, 2, -2, 3, -3}));
}

TEST_F(StoreTest, AStoreDestroyedUnderItsEffectsDropsWhatTheySendAndTheyEnd) {
  int parts = 0;
  int reduced = 0;
  auto closing = std::make_optional<Store<Counter>>(CounterState{},
                                                    Counter{[&parts] { ++parts; }, &reduced}, loop);
  closing->send(-1);
  executor.runOne();  // the effect has posted its first action
  closing.reset();
  settle();
  EXPECT_EQ(reduced, 1);
  EXPECT_EQ(parts, 3);
}

TEST_F(StoreTest, AnObserverMayDestroyTheStoreThatTellsIt) {
  auto store = std::make_optional<Store<Counter>>(CounterState{}, Counter{}, loop);
  int told = 0;
  auto observation = store->state().count.observe([&] {
    ++told;
    store->send(1);  // waits, and is dropped with the store
    store.reset();
  });
  store->send(1);
  EXPECT_EQ(told, 1);
  EXPECT_FALSE(store.has_value());
}

TEST_F(StoreTest, AnObserverThatThrowsLeavesTheStoreAndItsEffectsWhole) {
  int parts = 0;
  Store<Counter> store({}, Counter{[&parts] { ++parts; }}, loop);
  const auto throwing = store.state().count.observe([] { throw std::runtime_error("observer"); });
  EXPECT_THROW(store.send(1), std::runtime_error);
  EXPECT_EQ(store.state().count(), 1);
  store.send(-1);
  int thrown = 0;
  for (bool isBusy = true; isBusy;) {
    try {
      isBusy = executor.runOne() || mainQueue.poll();
    } catch (const std::runtime_error&) {
      ++thrown;
    }
  }
  EXPECT_EQ(store.state().count(), 112);
  EXPECT_EQ(parts, 3) << "the effect was left where it was";
  EXPECT_EQ(thrown, 3);
}

// The delivery that the observer's poll() runs has to wait until the action under way is reduced.
TEST_F(StoreTest, AnEffectWaitsForItsActionAlsoWhenAnObserverPumpsTheQueue) {
  std::vector<int> seen;
  std::optional<Store<Counter>> store;
  const auto look = [&] { seen.push_back(store->state().count()); };
  store.emplace(CounterState{}, Counter{look}, loop);
  store->send(-1);
  executor.runOne();  // the effect has posted its first action
  const auto pumping = store->state().count.observe([&] { settle(); });
  store->send(1000);
  settle();
  EXPECT_EQ(seen, (std::vector{1001, 1011, 1111}));
}

using StoreDeathTest = StoreTest;

TEST_F(StoreDeathTest, SendingOffTheMainQueueStopsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  Store<Counter> store({}, Counter{}, loop);
  EXPECT_DEATH(std::thread([&] { store.send(1); }).join(),
               "A Store may be used on its main queue only");
}

}  // namespace
}  // namespace tavrin
