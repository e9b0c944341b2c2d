#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "Architecture/Task.hpp"

namespace tavrin::testing {

namespace detail {

class Signal {
 public:
  void set() {
    const std::lock_guard lock(mutex_);
    isSet_ = true;
    changed_.notify_all();
  }
  void wait() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return isSet_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool isSet_ = false;
};

template <class T>
Task<void> store(Task<T> task, std::optional<T>& result, std::shared_ptr<Signal> done) {
  result.emplace(co_await task);
  done->set();
}

inline Task<void> signal(Task<void> task, std::shared_ptr<Signal> done) {
  co_await task;
  done->set();
}

}  // namespace detail

/// Runs the task on the shared executor and waits for its result. Not for tasks that need the main
/// queue.
template <class T>
T await(Task<T> task) {
  std::optional<T> result;
  const auto done = std::make_shared<detail::Signal>();
  startDetached(Executor::shared(), detail::store(std::move(task), result, done));
  done->wait();
  return *std::move(result);
}

inline void await(Task<void> task) {
  const auto done = std::make_shared<detail::Signal>();
  startDetached(Executor::shared(), detail::signal(std::move(task), done));
  done->wait();
}

}  // namespace tavrin::testing
