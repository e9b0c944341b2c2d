#include "Tavrin/Architecture/Task.hpp"

#include <cstdio>
#include <new>

namespace tavrin {

namespace {

struct Detached {
  struct promise_type {
    Detached get_return_object() { return {}; }
    std::suspend_never initial_suspend() noexcept { return {}; }
    std::suspend_never final_suspend() noexcept { return {}; }
    void return_void() {}
    // Called where the exception is handled: what leaves this call would go on into the executor.
    void unhandled_exception() noexcept {
      try {
        throw;
      } catch (const std::bad_alloc&) {
        std::fputs("An operation has failed: there is not enough memory\n", stderr);
      }
    }
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
