#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <utility>
#include <vector>

#include "Platform/Foundation/DispatchQueue.hpp"
#include "Tavrin/GifView.hpp"

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
  // Asked before and after the jobs, and after each of them.
  static int runPosted() {
    int asked = 0;
    DispatchQueue::main().runUntil([&asked] { return ++asked == 0; }, std::chrono::nanoseconds(0));
    return asked - 2;
  }

  GifView make(bool failed) {
    isFailed.set(failed);
    return {*URL::parse("http://localhost/a.gif"), 10, std::nullopt, isFailed.binding()};
  }
  // The view whose last progress report was incomplete: `loaded` is false.
  GifView makeLoading(bool failed) {
    auto view = make(false);
    progress(view, 1, 2);
    EXPECT_EQ(runPosted(), 1);
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

TEST_F(GifViewTest, Success) {
  auto view = make(false);
  success(view);
  EXPECT_EQ(runPosted(), 0);

  view = makeLoading(false);
  success(view);
  EXPECT_EQ(runPosted(), 1);
  EXPECT_TRUE(isLoaded(view));

  view = make(true);
  success(view);
  EXPECT_TRUE(isFailed.get()) << "written before the main queue ran";
  EXPECT_EQ(runPosted(), 1);
  EXPECT_FALSE(isFailed.get());

  view = makeLoading(true);
  success(view);
  runOne();
  EXPECT_TRUE(isFailed.get()) << "loaded comes first, in a block of its own";
  EXPECT_EQ(runPosted(), 1);
  EXPECT_FALSE(isFailed.get());
  EXPECT_TRUE(isLoaded(view));
}

TEST_F(GifViewTest, Failure) {
  auto view = make(true);
  failure(view);
  EXPECT_EQ(runPosted(), 0);

  view = make(false);
  failure(view);
  EXPECT_FALSE(isFailed.get());
  EXPECT_EQ(runPosted(), 1);
  EXPECT_TRUE(isFailed.get());
  failure(view);
  EXPECT_EQ(runPosted(), 0);

  view = makeLoading(true);
  failure(view);
  EXPECT_EQ(runPosted(), 1);
  EXPECT_TRUE(isFailed.get());
  EXPECT_TRUE(isLoaded(view));

  view = makeLoading(false);
  failure(view);
  runOne();
  EXPECT_FALSE(isFailed.get()) << "loaded comes first, in a block of its own";
  EXPECT_EQ(runPosted(), 1);
  EXPECT_TRUE(isFailed.get());
}

TEST_F(GifViewTest, Progress) {
  for (const auto& [received, expected] :
       std::vector<std::pair<std::int64_t, std::int64_t>>{{2, 2}, {3, 2}, {0, 0}, {5, -1}}) {
    const auto complete = make(false);
    progress(complete, received, expected);
    EXPECT_EQ(runPosted(), 0) << received << " of " << expected;
    isFailed.set(true);
    progress(complete, received, expected);
    EXPECT_EQ(runPosted(), 1);
    EXPECT_FALSE(isFailed.get());
    EXPECT_TRUE(isLoaded(complete));
  }

  auto view = make(true);
  progress(view, 0, 2);
  runOne();
  EXPECT_TRUE(isFailed.get()) << "loaded comes first, in a block of its own";
  EXPECT_EQ(runPosted(), 1);
  EXPECT_FALSE(isFailed.get());
  EXPECT_FALSE(isLoaded(view));

  view = makeLoading(false);
  progress(view, 1, 2);
  EXPECT_EQ(runPosted(), 0);
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
