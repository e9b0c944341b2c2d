#pragma once

#include <atomic>
#include <coroutine>
#include <exception>
#include <optional>
#include <type_traits>
#include <utility>

#include "Tavrin/Foundation/Executor.hpp"

namespace tavrin {

template <class T>
class Task;

namespace detail {

// Parent and child exchange one flag, and whichever comes second resumes the parent. A child that
// finishes at once is therefore returned from, not called through: the stack does not grow with the
// number of such children, in any build.
class TaskPromiseBase {
 public:
  std::suspend_always initial_suspend() noexcept { return {}; }
  auto final_suspend() noexcept { return FinalAwaiter{}; }
  void unhandled_exception() { exception_ = std::current_exception(); }

  void setParent(std::coroutine_handle<> parent) { parent_ = parent; }
  bool isSecond() { return isOneDone_.exchange(true, std::memory_order_acq_rel); }
  void rethrowIfFailed() const {
    if (exception_) std::rethrow_exception(exception_);
  }

 private:
  struct FinalAwaiter {
    bool await_ready() noexcept { return false; }
    template <class Promise>
    void await_suspend(std::coroutine_handle<Promise> child) noexcept {
      const auto parent = child.promise().parent_;
      if (child.promise().isSecond()) parent.resume();
    }
    void await_resume() noexcept {}
  };

  std::coroutine_handle<> parent_;
  std::exception_ptr exception_;
  std::atomic<bool> isOneDone_{false};
};

template <class T>
class TaskPromise : public TaskPromiseBase {
 public:
  Task<T> get_return_object();
  template <class Value>
  void return_value(Value&& value) {
    value_.emplace(std::forward<Value>(value));
  }
  T take() {
    rethrowIfFailed();
    return std::move(*value_);
  }

 private:
  std::optional<T> value_;
};

template <>
class TaskPromise<void> : public TaskPromiseBase {
 public:
  Task<void> get_return_object();
  void return_void() {}
  void take() { rethrowIfFailed(); }
};

}  // namespace detail

/// An asynchronous operation that starts when it is awaited, runs until its first suspension on the
/// awaiting thread, and goes on wherever it is resumed. Awaited once.
template <class T = void>
class [[nodiscard]] Task {
 public:
  using promise_type = detail::TaskPromise<T>;

  Task(Task&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  Task& operator=(Task&&) = delete;
  ~Task() {
    if (handle_) handle_.destroy();
  }

  bool await_ready() const noexcept { return false; }
  bool await_suspend(std::coroutine_handle<> parent) {
    auto& promise = handle_.promise();
    promise.setParent(parent);
    handle_.resume();
    return !promise.isSecond();
  }
  T await_resume() { return handle_.promise().take(); }

 private:
  friend promise_type;
  using Handle = std::coroutine_handle<promise_type>;
  explicit Task(Handle handle) : handle_(handle) {}

  Handle handle_;
};

template <class T>
Task<T> detail::TaskPromise<T>::get_return_object() {
  return Task<T>(Task<T>::Handle::from_promise(*this));
}

inline Task<void> detail::TaskPromise<void>::get_return_object() {
  return Task<void>(Task<void>::Handle::from_promise(*this));
}

/// Continues the awaiting coroutine as a job of the executor.
class ContinueOn {
 public:
  explicit ContinueOn(Executor& executor) : executor_(executor) {}
  bool await_ready() const noexcept { return false; }
  void await_suspend(std::coroutine_handle<> handle) {
    executor_.post([handle] { handle.resume(); });
  }
  void await_resume() const noexcept {}

 private:
  Executor& executor_;
};

/// Runs the task as a job of the executor, without anybody waiting for it. Where memory runs out
/// the task ends there, and a line on standard error says so. Any other exception that leaves it
/// ends the process.
void startDetached(Executor& executor, Task<void> task);

}  // namespace tavrin
