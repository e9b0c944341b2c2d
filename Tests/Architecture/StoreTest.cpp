#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Architecture/Observation.hpp"
#include "Architecture/Store.hpp"
#include "Tests/Support/ManualExecutor.hpp"

namespace tavrin {
namespace {

using testing::ManualExecutor;

struct CounterState {
  Observed<int> count = 0;
  Observed<std::string> note;
};

// Positive numbers are added; a negative one starts an effect that sends its parts one by one.
struct SendParts {
  std::vector<int> parts;
  std::vector<int>* reducedBeforeNext;
  const CounterState* state;

  Task<void> operator()(Send<int> send) const {
    for (const int part : parts) {
      co_await send(part);
      if (reducedBeforeNext) reducedBeforeNext->push_back(state ? state->count() : -1);
    }
  }
};

struct Counter {
  using State = CounterState;
  using Action = int;

  std::vector<int>* reducedBeforeNext = nullptr;

  Effect<int> reduce(State& state, int action) const {
    if (action < 0) return Effect<int>::run(SendParts{{1, 10, 100}, reducedBeforeNext, &state});
    state.count.modify([action](int& count) { count += action; });
    return Effect<int>::none();
  }
};

class StoreTest : public ::testing::Test {
 protected:
  // Runs both loops until neither has anything left.
  void settle() {
    while (executor.runOne() || mainQueue.poll()) {
    }
  }

  DispatchQueue mainQueue;
  ManualExecutor executor;
  StoreLoop loop{mainQueue, executor};
};

TEST_F(StoreTest, EachActionOfAnEffectIsReducedBeforeTheEffectGoesOn) {
  std::vector<int> seen;
  Store<Counter> store({}, Counter{&seen}, loop);
  store.send(-1);
  EXPECT_EQ(store.state().count(), 0) << "the effect ran inside send";
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
  std::vector<int> steps;
  struct Steps {
    std::vector<int>* steps;
    Task<void> operator()(Send<int> send) const {
      for (int i = 0; i < 3; ++i) {
        co_await send(1);
        steps->push_back(i);
      }
    }
  };
  using Plain = Reduce<CounterState, int>;
  int reduced = 0;
  auto closing = std::make_optional<Store<Plain>>(
      CounterState{}, Plain([&](CounterState&, const int& action) {
        ++reduced;
        return action == 0 ? Effect<int>::run(Steps{&steps}) : Effect<int>::none();
      }),
      loop);
  closing->send(0);
  executor.runOne();  // the effect has posted its first action
  closing.reset();
  settle();
  EXPECT_EQ(reduced, 1);
  EXPECT_EQ(steps, (std::vector{0, 1, 2}));
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

TEST_F(StoreTest, RunsOnRealThreadsToo) {
  Store<Counter> store({}, Counter{}, {mainQueue, Executor::shared()});
  for (int i = 0; i < 50; ++i) store.send(-1);
  EXPECT_TRUE(mainQueue.runUntil([&] { return store.state().count() == 50 * 111; },
                                 std::chrono::seconds(30)));
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
