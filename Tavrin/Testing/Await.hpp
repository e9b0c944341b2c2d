#pragma once

#include <future>
#include <type_traits>
#include <utility>

#include "Tavrin/Architecture/Task.hpp"

namespace tavrin::testing {

namespace detail {

template <class T>
Task<void> fulfil(Task<T> task, std::promise<T> promise) {
  if constexpr (std::is_void_v<T>) {
    co_await task;
    promise.set_value();
  } else {
    T value = co_await task;
    promise.set_value(std::move(value));
  }
}

}  // namespace detail

/// Runs the task on the shared executor and waits for its result. Not for tasks that need the main
/// queue.
template <class T>
T await(Task<T> task) {
  std::promise<T> promise;
  auto result = promise.get_future();
  startDetached(Executor::shared(), detail::fulfil(std::move(task), std::move(promise)));
  return result.get();
}

}  // namespace tavrin::testing
