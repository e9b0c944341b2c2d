#pragma once

#include <memory>
#include <utility>

#include "Tavrin/Architecture/Send.hpp"
#include "Tavrin/Architecture/Task.hpp"

namespace tavrin {

/// What a reducer wants done after it has changed the state: nothing, or one asynchronous
/// operation.
///
/// An operation is a value that holds what it captured and is called, once for each run, with the
/// handle to send actions through: `Task<void> operator()(Send<Action>) const`. It stays alive
/// until its run ends, so the coroutine may read its fields throughout. An effect that nobody hands
/// to a store is never run.
template <class Action>
class [[nodiscard]] Effect {
 public:
  static Effect none() { return Effect(nullptr); }
  template <class Operation>
  static Effect run(Operation operation) {
    return Effect(std::make_shared<const Model<Operation>>(std::move(operation)));
  }

  bool isNone() const { return operation_ == nullptr; }
  /// The captured data, if this effect runs an operation of that type; null otherwise.
  template <class Operation>
  const Operation* operation() const {
    const auto* model = dynamic_cast<const Model<Operation>*>(operation_.get());
    return model ? &model->operation : nullptr;
  }
  /// Runs the operation; ends at once when there is none.
  Task<void> start(Send<Action> send) const { return runKept(operation_, std::move(send)); }

 private:
  struct Concept {
    virtual ~Concept() = default;
    virtual Task<void> start(Send<Action> send) const = 0;
  };
  template <class Operation>
  struct Model final : Concept {
    explicit Model(Operation o) : operation(std::move(o)) {}
    Task<void> start(Send<Action> send) const override { return operation(std::move(send)); }
    Operation operation;
  };

  explicit Effect(std::shared_ptr<const Concept> operation) : operation_(std::move(operation)) {}

  static Task<void> runKept(std::shared_ptr<const Concept> operation, Send<Action> send) {
    if (!operation) co_return;
    auto task = operation->start(std::move(send));
    co_await task;
  }

  std::shared_ptr<const Concept> operation_;
};

}  // namespace tavrin
