#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/View/GifView.hpp"

namespace tavrin {
namespace {

// The main queue belongs to the test, which runs its jobs one by one.
class GifViewTest : public ::testing::Test {
 protected:
  void SetUp() override {
    DispatchQueue::main().adopt();
    ASSERT_EQ(runPosted(), 0);
  }
  void TearDown() override { EXPECT_EQ(runPosted(), 0); }

  static void runOne() {
    bool asked = false;
    DispatchQueue::main().runUntil([&asked] { return std::exchange(asked, true); },
                                   std::chrono::nanoseconds(0));
  }
  // A job behind the posted ones ends it. It is asked before them, and after each and that job.
  static int runPosted() {
    int asked = 0;
    bool isOver = false;
    DispatchQueue::main().async([&isOver] { isOver = true; });
    const auto done = [&] { return ++asked > 0 && isOver; };
    DispatchQueue::main().runUntil(done, std::chrono::seconds(10));
    return asked - 2;
  }

  // `loaded` starts as true; an incomplete progress report makes it false.
  GifView make(bool failed, bool loaded = true) {
    isFailed.set(false);
    GifView view(*URL::parse("http://localhost/a.gif"), 10, std::nullopt, isFailed.binding());
    if (!loaded) {
      EXPECT_TRUE(isLoaded(view));
    }
    isFailed.set(failed);
    return view;
  }
  static void success(const GifView& view) {
    view.body().content.success(nullptr, std::nullopt, SDImageCacheType::none);
  }
  static void failure(const GifView& view) { view.body().content.failure(Error{"gone"}); }
  static void progress(const GifView& view, std::int64_t received, std::int64_t expected) {
    view.body().content.progress(received, expected);
  }
  // `loaded` shows in what an incomplete progress report posts: a write if it is true.
  bool isLoaded(const GifView& view) {
    isFailed.set(false);
    progress(view, 1, 2);
    return runPosted() == 1;
  }

  State<bool> isFailed{false};
};

TEST_F(GifViewTest, DescribesTheImageStretchedToTheFrame) {
  const auto body = make(false).body();
  EXPECT_EQ(body.content.url, URL::parse("http://localhost/a.gif"));
  EXPECT_EQ(body.content.options.rawValue, 0U);
  EXPECT_FALSE(body.content.context.has_value());
  ASSERT_TRUE(body.content.resizing);
  EXPECT_EQ(body.content.resizing->capInsets, EdgeInsets());
  EXPECT_EQ(body.content.resizing->mode, ResizingMode::stretch);
  EXPECT_EQ(body.width, 10);
  EXPECT_EQ(body.height, std::nullopt);
  EXPECT_EQ(body.alignment, Alignment::center());
}

TEST_F(GifViewTest, EachCallbackPostsWhatItChangesLoadedFirst) {
  struct Callback {
    const char* name;
    std::function<void(const GifView&)> call;
    std::optional<bool> loaded;  // afterwards; absent: as before
    bool failed;                 // afterwards
  };
  const auto reports = [](std::int64_t received, std::int64_t expected) {
    return [=](const GifView& view) { progress(view, received, expected); };
  };
  const Callback callbacks[] = {{"success", success, true, false},
                                {"failure", failure, true, true},
                                {"0 of 2", reports(0, 2), false, false},
                                {"1 of 2", reports(1, 2), false, false},
                                {"2 of 2", reports(2, 2), std::nullopt, false},
                                {"3 of 2", reports(3, 2), std::nullopt, false},
                                {"0 of 0", reports(0, 0), std::nullopt, false},
                                {"5 of -1", reports(5, -1), std::nullopt, false}};
  for (const auto& callback : callbacks) {
    for (const auto& [loaded, failed] : {std::pair(false, false), std::pair(false, true),
                                         std::pair(true, false), std::pair(true, true)}) {
      SCOPED_TRACE(std::string(callback.name) + (loaded ? ", loaded" : "") +
                   (failed ? ", failed" : ""));
      const auto view = make(failed, loaded);
      const bool loadedAfter = callback.loaded.value_or(loaded);
      callback.call(view);
      EXPECT_EQ(isFailed.get(), failed) << "written before the main queue ran";
      if (loadedAfter != loaded) runOne();
      EXPECT_EQ(isFailed.get(), failed) << "loaded comes first, in a block of its own";
      EXPECT_EQ(runPosted(), callback.failed == failed ? 0 : 1);
      EXPECT_EQ(isFailed.get(), callback.failed);
      EXPECT_EQ(isLoaded(view), loadedAfter);
    }
  }
}

TEST_F(GifViewTest, ChecksSeeTheFlagsAsTheyAreAtCallbackTime) {
  auto view = make(false);
  failure(view);
  progress(view, 1, 2);
  failure(view);
  // The first failure posted isFailed; the progress saw it still false and posted loaded alone; the
  // second failure saw both unchanged and posted isFailed again.
  EXPECT_EQ(runPosted(), 3);
  EXPECT_TRUE(isFailed.get());
  progress(view, 1, 2);
  EXPECT_EQ(runPosted(), 1) << "loaded is false already";
  EXPECT_FALSE(isFailed.get());
}

TEST_F(GifViewTest, CopiesShareTheStateAndTheFlag) {
  const auto view = make(false);
  const auto copy = view;
  const auto earlierBody = view.body();
  progress(copy, 1, 2);
  EXPECT_EQ(runPosted(), 1);
  earlierBody.content.failure(Error{"gone"});
  EXPECT_EQ(runPosted(), 2) << "loaded was false for the earlier body too";
  EXPECT_TRUE(view.isFailed());
  copy.setIsFailed(false);
  EXPECT_FALSE(view.isFailed());
  EXPECT_FALSE(view.isFailedBinding().get());
}

TEST_F(GifViewTest, TellsItsOwnerWhyBeforeTheFlagIsWritten) {
  std::vector<std::pair<Error, bool>> told;
  const auto view =
      make(false).onFailure([&](const Error& error) { told.emplace_back(error, isFailed.get()); });
  const Error missing(ErrorCode::cannotResolve, "no such host");
  view.body().content.failure(missing);
  EXPECT_TRUE(told.empty()) << "on the component's thread";
  EXPECT_EQ(runPosted(), 2);
  EXPECT_EQ(told, (std::vector<std::pair<Error, bool>>{{missing, false}}));
  EXPECT_TRUE(isFailed.get());
  view.body().content.failure(missing);
  EXPECT_EQ(runPosted(), 1) << "each failure is told, the flag stays";
}

TEST_F(GifViewTest, CallbacksRunOnAnyThread) {
  const auto view = make(false);
  std::atomic<int> running = 3;
  const auto work = [&](auto call) {
    return std::jthread([&, call] {
      for (int i = 0; i < 2'000; ++i) call();
      --running;
    });
  };
  {
    const auto a = work([&] { success(view); });
    const auto b = work([&] { failure(view); });
    const auto c = work([&] { progress(view, 1, 2); });
    while (running > 0) DispatchQueue::main().poll();
  }
  runPosted();
  success(view);
  runPosted();
  EXPECT_FALSE(isFailed.get());
  EXPECT_TRUE(isLoaded(view));
}

}  // namespace
}  // namespace tavrin
