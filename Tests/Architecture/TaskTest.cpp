#include <gtest/gtest.h>

#include <atomic>
#include <new>
#include <stdexcept>
#include <string>

#include "Tavrin/Architecture/Task.hpp"
#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/Testing/ManualExecutor.hpp"

namespace tavrin {
namespace {

using testing::ManualExecutor;

Task<int> immediate(int value) { co_return value; }

Task<std::string> onExecutor(Executor& executor, std::string text) {
  ContinueOn hop(executor);
  co_await hop;
  co_return text + "!";
}

Task<int> failing(Executor& executor) {
  ContinueOn hop(executor);
  co_await hop;
  throw std::runtime_error("no");
}

TEST(Task, StartsWhenTheExecutorRunsAndReturnsValuesAcrossHops) {
  ManualExecutor executor;
  std::string result;
  startDetached(executor, [](ManualExecutor& on, std::string& out) -> Task<void> {
    out = "started";
    const auto text = co_await onExecutor(on, "done");
    out = text;
  }(executor, result));
  EXPECT_EQ(result, "");
  executor.runOne();
  EXPECT_EQ(result, "started");
  executor.runAll();
  EXPECT_EQ(result, "done!");
}

TEST(Task, CarriesAnExceptionToItsParent) {
  ManualExecutor executor;
  std::string caught;
  startDetached(executor, [](ManualExecutor& on, std::string& out) -> Task<void> {
    try {
      static_cast<void>(co_await failing(on));
    } catch (const std::runtime_error& error) {
      out = error.what();
    }
  }(executor, caught));
  executor.runAll();
  EXPECT_EQ(caught, "no");
}

TEST(Task, WithoutMemoryEndsAloneAndSaysSo) {
  ManualExecutor executor;
  ::testing::internal::CaptureStderr();
  startDetached(executor, []() -> Task<void> {
    throw std::bad_alloc();
    co_return;
  }());
  bool hasRun = false;
  executor.post([&hasRun] { hasRun = true; });
  executor.runAll();
  EXPECT_TRUE(hasRun);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "An operation has failed: there is not enough memory\n");
}

TEST(Task, ChildrenThatFinishAtOnceDoNotGrowTheStack) {
  ManualExecutor executor;
  std::int64_t sum = 0;
  startDetached(executor, [](std::int64_t& out) -> Task<void> {
    for (int i = 0; i < 1'000'000; ++i) out += co_await immediate(1);
  }(sum));
  executor.runAll();
  EXPECT_EQ(sum, 1'000'000);
}

// A child that finishes on one thread while its parent is still suspending on another.
TEST(Task, ParentAndChildMayMeetOnDifferentThreads) {
  ThreadPool pool(4);
  std::atomic<int> sum{0};
  constexpr int tasks = 200;
  constexpr int hops = 50;
  for (int i = 0; i < tasks; ++i) {
    startDetached(pool, [](Executor& on, std::atomic<int>& out) -> Task<void> {
      for (int hop = 0; hop < hops; ++hop) {
        const auto text = co_await onExecutor(on, "a");
        out += static_cast<int>(text.size());
      }
    }(pool, sum));
  }
  // Each hop posts the next before its job ends, so draining the pool would cut tasks short.
  DispatchQueue queue;
  EXPECT_TRUE(queue.runUntil(
      [&] {
        queue.post([] {});
        return sum == tasks * hops * 2;
      },
      std::chrono::seconds(30)));
}

}  // namespace
}  // namespace tavrin
