#pragma once

#include <coroutine>
#include <memory>
#include <utility>

#include "Tavrin/Foundation/Executor.hpp"

namespace tavrin {

/// Has the effects of one feature take effect one after another, in the order in which their
/// actions were reduced, however long each of them reads or waits. No thread waits with them.
///
/// The reducer takes a place for each such effect, which is one of the values that the effect
/// captures. The effect begins by waiting for its turn, and lets the next one in at its end:
///
///     EffectOrder::Turn turn(place, send.executor());
///     co_await turn;
///
/// Bookkeeping, not a part of a feature's value: a copy is an order of its own. Any thread.
class EffectOrder {
  class Line;
  struct Entry;

 public:
  /// Copies are the same place. It is given up when a turn with it is over, or when the last copy
  /// is gone, so an effect that is never run holds up nobody. Without a place there is no order.
  using Place = std::shared_ptr<Entry>;

  /// The time during which an effect is alone. Waited for once; over when it is destroyed.
  class [[nodiscard]] Turn {
   public:
    /// The waiting effect goes on as a job of the executor, which must outlive it.
    Turn(Place place, Executor& executor) : place_(std::move(place)), executor_(executor) {}
    ~Turn();
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

    bool await_ready() const noexcept { return false; }
    bool await_suspend(std::coroutine_handle<> effect);
    void await_resume() const noexcept {}

   private:
    const Place place_;
    Executor& executor_;
  };

  EffectOrder();
  EffectOrder(const EffectOrder&) : EffectOrder() {}
  EffectOrder& operator=(const EffectOrder&) { return *this; }

  /// Behind all others.
  Place last() const;
  /// Behind the first one and what has been taken in this way since it became the first: for the
  /// effects of actions that an effect sends, so that it and they come before the effects that
  /// follow.
  Place next() const;

 private:
  Place add(bool isNext) const;

  const std::shared_ptr<Line> line_;
};

}  // namespace tavrin
