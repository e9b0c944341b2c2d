#pragma once

#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <utility>

#include "Tavrin/Architecture/Observation.hpp"
#include "Tavrin/Architecture/Reducer.hpp"
#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/Foundation/FatalError.hpp"

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
  ///
  /// What an observer throws undoes nothing: the state is complete, the effect is started, the
  /// other observers are told, and then the first exception leaves this call. When an effect sent
  /// the action, it leaves the main queue's `poll` or `run`.
  void send(Action action) {
    const auto core = core_;  // an observer may destroy the store
    core->requireMainQueue();
    core->send(std::move(action), nullptr);
  }

 private:
  struct Core : std::enable_shared_from_this<Core> {
    Core(State s, R r, StoreLoop l) : state(std::move(s)), reducer(std::move(r)), loop(l) {
      requireMainQueue();
    }

    void requireMainQueue() const {
      if (!loop.mainQueue.isCurrent()) fatalError("A Store may be used on its main queue only");
    }

    struct Waiting {
      Action action;
      std::function<void()> reduced;  // lets the sending effect go on; absent for a host's action
    };

    void send(Action action, std::function<void()> reduced) {
      waiting.push_back({std::move(action), std::move(reduced)});
      if (std::exchange(isReducing, true)) return;
      std::exception_ptr thrown;
      while (!waiting.empty()) {
        const auto next = std::move(waiting.front());
        waiting.pop_front();
        const auto caught = isClosed ? nullptr : reduce(next.action);
        if (!thrown) thrown = caught;
        if (next.reduced) next.reduced();
      }
      isReducing = false;
      if (thrown) std::rethrow_exception(thrown);
    }

    // Returns what the reducer or the first observer has thrown.
    std::exception_ptr reduce(const Action& action) {
      ObserverExceptions exceptions;
      try {
        start(reducer.reduce(state, action));
      } catch (...) {
        return std::current_exception();
      }
      return exceptions.first();
    }

    void start(const Effect<Action>& effect) {
      if (effect.isNone()) return;
      auto deliver = [weak = this->weak_from_this()](Action action, std::function<void()> goOn) {
        if (const auto core = weak.lock()) return core->send(std::move(action), std::move(goOn));
        goOn();
      };
      startDetached(loop.executor,
                    effect.start(Send<Action>(loop.mainQueue, loop.executor, std::move(deliver))));
    }

    // All on the main queue.
    State state;
    const R reducer;
    const StoreLoop loop;
    std::deque<Waiting> waiting;
    bool isReducing = false;
    bool isClosed = false;
  };

  std::shared_ptr<Core> core_;
};

}  // namespace tavrin
