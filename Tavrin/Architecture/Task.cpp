#include "Tavrin/Architecture/Task.hpp"

namespace tavrin {

namespace {

struct Detached {
  struct promise_type {
    Detached get_return_object() { return {}; }
    std::suspend_never initial_suspend() noexcept { return {}; }
    std::suspend_never final_suspend() noexcept { return {}; }
    void return_void() {}
    [[noreturn]] void unhandled_exception() { std::terminate(); }
  };
};

Detached run(Executor* executor, Task<void> task) {
  ContinueOn hop(*executor);
  co_await hop;
  co_await task;
}

}  // namespace

void startDetached(Executor& executor, Task<void> task) { run(&executor, std::move(task)); }

}  // namespace tavrin
