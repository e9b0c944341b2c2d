// What surrounds the engine's process. Each test has one of its own, which ends with status 7 when
// all went well, and by SIGALRM when it hangs.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>

#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/Testing/RecordingListener.hpp"
#include "Tests/Engine/MpvSubject.hpp"
#include "Tests/Support/Sanitizers.hpp"
#include "Tests/Support/ScarceMemory.hpp"

namespace tavrin::testing {
namespace {

constexpr unsigned hangsAfter = 30;  // seconds

void expect(bool holds, const char* what) {
  if (holds) return;
  std::fputs(what, stderr);
  std::_Exit(1);
}

class MpvSurroundingsDeathTest : public ::testing::Test {
 protected:
  void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  /// Loads a clip, and waits for what is told of it.
  void expectOf(MediaEngine::LoadId number, const std::string& report) {
    if (!engine) engine = makeMpvEngine(listener, log.options());
    resource = ScriptedResource::make(clip("red.mp4"));
    engine->load(number, resource->asset());
    const auto wanted = report + " " + std::to_string(number);
    const auto isTold = [&] { return listener->count(wanted) > 0; };
    expect(DispatchQueue::main().runUntil(isTold, std::chrono::seconds(20)), wanted.c_str());
  }

  ErrorLog log;
  std::shared_ptr<RecordingListener> listener = std::make_shared<RecordingListener>();
  std::shared_ptr<ScriptedResource> resource;
  std::unique_ptr<MediaEngine> engine;
};

TEST_F(MpvSurroundingsDeathTest, WithoutThreadsALoadFailsAndALaterOnePlays) {
  if (isSanitized) GTEST_SKIP() << "a sanitizer takes more address space";
  const auto loadWithout = [this] {
    alarm(hangsAfter);
    ScarceMemory::shareOneHeap();
    {
      const ScarceMemory none(ScarceMemory::aStack);  // the engine's own
      expectOf(1, "failed");
      expect(listener->error().code == ErrorCode::noMemory, "another cause was told");
    }
    expectOf(2, "ready");
    expectOf(3, "ready");  // by now the engine has all its players
    {
      const ScarceMemory none(ScarceMemory::lessThanAStack);
      expectOf(4, "failed");
      expect(listener->error().code == ErrorCode::noMemory, "another cause was told");
    }
    expectOf(5, "ready");
    engine.reset();
    std::exit(7);
  };
  EXPECT_EXIT(loadWithout(), ::testing::ExitedWithCode(7), "");
}

TEST_F(MpvSurroundingsDeathTest, AForkedChildLetsGoOfItsEngine) {
  if (isAddressSanitized) GTEST_SKIP() << forkedBesideThreads;
  const auto fork = [this] {
    alarm(hangsAfter);
    expectOf(1, "ready");
    const auto child = ::fork();
    if (child == 0) {
      alarm(hangsAfter / 2);
      engine.reset();
      std::exit(7);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    expect(WIFEXITED(status) && WEXITSTATUS(status) == 7, "the child hung");
    expectOf(2, "ready");
    engine.reset();
    std::exit(7);
  };
  EXPECT_EXIT(fork(), ::testing::ExitedWithCode(7), "");
}

}  // namespace
}  // namespace tavrin::testing
