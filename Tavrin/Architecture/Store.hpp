#pragma once

#include <deque>
#include <memory>
#include <utility>

#include "Architecture/Reducer.hpp"
#include "Platform/Foundation/DispatchQueue.hpp"
#include "Platform/Foundation/FatalError.hpp"

namespace tavrin {

/// Where a store reduces its actions and where it runs its effects. Both outlive every effect.
struct StoreLoop {
  DispatchQueue& mainQueue = DispatchQueue::main();
  Executor& executor = Executor::shared();
};

/// Owns a state, and changes it by running actions through a reducer, one at a time.
///
/// A store belongs to the thread of its main queue: a call from elsewhere stops the process.
template <Reducer R>
class Store {
 public:
  using State = typename R::State;
  using Action = typename R::Action;

  Store(State state, R reducer, StoreLoop loop = {})
      : core_(std::make_shared<Core>(std::move(state), std::move(reducer), loop)) {}
  /// Effects that still run go on to their ends; what they send is dropped.
  ~Store() { core_->isClosed = true; }
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  /// For reading and for observing its fields.
  const State& state() const { return core_->state; }

  /// Reduces the action and starts the effect it leads to. An action sent while another is being
  /// reduced, by an observer, is reduced right after that one, before the outer call returns.
  void send(Action action) {
    const auto core = core_;  // an observer may destroy the store
    core->requireMainQueue();
    core->send(std::move(action));
  }

 private:
  struct Core : std::enable_shared_from_this<Core> {
    Core(State s, R r, StoreLoop l) : state(std::move(s)), reducer(std::move(r)), loop(l) {
      requireMainQueue();
    }

    void requireMainQueue() const {
      if (!loop.mainQueue.isCurrent()) fatalError("A Store may be used on its main queue only");
    }

    void send(Action action) {
      waiting.push_back(std::move(action));
      if (std::exchange(isReducing, true)) return;
      while (!waiting.empty() && !isClosed) {
        const auto next = std::move(waiting.front());
        waiting.pop_front();
        start(reducer.reduce(state, next));
      }
      isReducing = false;
    }

    void start(const Effect<Action>& effect) {
      if (effect.isNone()) return;
      auto deliver = [weak = this->weak_from_this()](Action action) {
        const auto core = weak.lock();
        if (core && !core->isClosed) core->send(std::move(action));
      };
      startDetached(loop.executor,
                    effect.start(Send<Action>(loop.mainQueue, loop.executor, std::move(deliver))));
    }

    // All on the main queue.
    State state;
    const R reducer;
    const StoreLoop loop;
    std::deque<Action> waiting;
    bool isReducing = false;
    bool isClosed = false;
  };

  std::shared_ptr<Core> core_;
};

}  // namespace tavrin
