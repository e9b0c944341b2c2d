#pragma once

#include <coroutine>
#include <functional>
#include <memory>
#include <utility>

#include "Tavrin/Foundation/Executor.hpp"

namespace tavrin {

/// Delivers an effect's actions to its store.
///
/// `co_await send(action)` has the action reduced on the store's main queue and then goes on as a
/// job of the store's executor. When the store is gone the action is dropped, and the effect goes
/// on.
template <class Action>
class Send {
 public:
  using GoOn = std::function<void()>;
  using Deliver = std::function<void(Action, GoOn)>;

  /// `deliver` is called on `mainQueue`, and calls what it is given once the action has been
  /// reduced or dropped. Both executors must outlive every effect.
  Send(Executor& mainQueue, Executor& executor, Deliver deliver)
      : mainQueue_(&mainQueue),
        executor_(&executor),
        deliver_(std::make_shared<const Deliver>(std::move(deliver))) {}

  class [[nodiscard]] Delivery {
   public:
    Delivery(const Send& send, Action action) : send_(send), action_(std::move(action)) {}
    bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> effect) {
      // This object lives in the suspended effect, so the job may use it until the effect may go
      // on.
      send_.mainQueue_->post([this, effect] {
        auto* const executor = send_.executor_;
        const auto deliver = send_.deliver_;
        (*deliver)(std::move(action_),
                   [executor, effect] { executor->post([effect] { effect.resume(); }); });
      });
    }
    void await_resume() const noexcept {}

   private:
    const Send& send_;
    Action action_;
  };

  Delivery operator()(Action action) const { return Delivery(*this, std::move(action)); }

  /// Where the effect runs; for continuing there after a callback.
  Executor& executor() const { return *executor_; }

 private:
  Executor* mainQueue_;
  Executor* executor_;
  std::shared_ptr<const Deliver> deliver_;
};

}  // namespace tavrin
