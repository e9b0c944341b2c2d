#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <future>

#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/Foundation/Executor.hpp"
#include "Tests/Support/Sanitizers.hpp"
#include "Tests/Support/ScarceMemory.hpp"

namespace tavrin {
namespace {

using ::testing::ExitedWithCode;

// A hang ends by SIGALRM.
constexpr unsigned hangsAfter = 10;  // seconds

class ProcessEndDeathTest : public ::testing::Test {
 protected:
  void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  // The shared executor with nothing to do.
  static void useExecutor() {
    std::promise<void> ran;
    Executor::shared().post([&] { ran.set_value(); });
    ran.get_future().wait();
  }
};

TEST_F(ProcessEndDeathTest, AForkedChildEnds) {
  if (testing::isAddressSanitized) GTEST_SKIP() << testing::forkedBesideThreads;
  useExecutor();
  const auto child = fork();
  if (child == 0) {
    alarm(hangsAfter);
    Executor::shared().post([] {});
    std::exit(7);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 7) << status;
  useExecutor();
}

TEST_F(ProcessEndDeathTest, AJobMayEndTheProcess) {
  const auto endFromAJob = [] {
    alarm(hangsAfter);
    useExecutor();
    Executor::shared().post([] { std::exit(7); });
    for (;;) pause();
  };
  EXPECT_EXIT(endFromAJob(), ExitedWithCode(7), "");
}

TEST_F(ProcessEndDeathTest, AJobThatNeverEndsHoldsUpNoExit) {
  const auto endUnderAJob = [] {
    alarm(hangsAfter);
    useExecutor();
    Executor::shared().post([] {
      for (;;) pause();
    });
    std::exit(7);
  };
  EXPECT_EXIT(endUnderAJob(), ExitedWithCode(7), "");
}

TEST_F(ProcessEndDeathTest, WithoutThreadsJobsRunOnTheMainQueue) {
  if (testing::isSanitized) GTEST_SKIP() << "a sanitizer takes more address space";
  const auto runWithout = [] {
    alarm(hangsAfter);
    const testing::ScarceMemory none(testing::ScarceMemory::lessThanAStack);
    int ran = 0;
    for (int i = 0; i < 3; ++i) Executor::shared().post([&] { ++ran; });
    const bool isDone =
        DispatchQueue::main().runUntil([&] { return ran == 3; }, std::chrono::seconds(5));
    std::exit(isDone ? 7 : 1);
  };
  EXPECT_EXIT(runWithout(), ExitedWithCode(7), "");
}

}  // namespace
}  // namespace tavrin
