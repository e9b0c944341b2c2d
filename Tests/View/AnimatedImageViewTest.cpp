#include <gmock/gmock.h>

#include <map>
#include <string>
#include <vector>

#include "Tavrin/Testing/HandFedSession.hpp"
#include "Tavrin/Testing/ManualExecutor.hpp"
#include "Tavrin/View/AnimatedImageView.hpp"
#include "Tavrin/View/State.hpp"
#include "Tests/Support/GifWriter.hpp"
#include "Tests/Support/Sanitizers.hpp"
#include "Tests/Support/ScarceMemory.hpp"

namespace tavrin {
namespace {

using std::chrono::milliseconds;
using ::testing::ElementsAre;
using testing::GifWriter;
using testing::HandFedSession;
using ::testing::IsEmpty;

class AnimatedImageViewTest : public ::testing::Test {
 protected:
  AnimatedImageViewTest() {
    GifWriter writer(4, 2);
    writer.setRepeats(0);
    writer.addFrame(std::uint8_t{0}, 10);
    writer.addFrame(std::uint8_t{50}, 20);
    gif = writer.data();
  }

  ViewEnvironment environment() {
    return {.makeSession =
                [this](std::shared_ptr<URLSessionDataDelegate> delegate) {
                  sessions.push_back(std::make_shared<HandFedSession>(std::move(delegate)));
                  return sessions.back();
                },
            .executor = executor,
            .cache = cache,
            .needsDisplay = [this] { events.emplace_back("display"); },
            .downloadLimit = downloadLimit};
  }
  std::shared_ptr<AnimatedImageView> show(std::optional<URL> url = URL::parse("http://h/a.gif")) {
    const auto image =
        AnimatedImage(std::move(url))
            .onSuccess([this](const auto& first, const auto& data, SDImageCacheType servedFrom) {
              events.emplace_back(servedFrom == SDImageCacheType::memory ? "cached" : "loaded");
              EXPECT_EQ(first->width, 4);
              EXPECT_EQ(data, gif);
            })
            .onFailure([this](const Error& error) { events.push_back(told(error)); })
            .onProgress([this](std::int64_t received, std::int64_t expected) {
              events.push_back(std::to_string(received) + "/" + std::to_string(expected));
            });
    auto view = AnimatedImageView::make(image, environment());
    view->load();
    return view;
  }
  void deliver(const Data& bytes) {
    session().feed(bytes);
    session().complete();
    executor.runAll();
  }
  HandFedSession& session() { return *sessions.back(); }
  std::vector<std::string> take() { return std::exchange(events, {}); }
  static int redOf(const std::optional<AnimatedImageView::Frame>& frame) {
    return frame ? frame->bitmap->pixels.front() : -1;
  }

  static std::string told(const Error& error) {
    static const std::map<ErrorCode, std::string> names{
        {ErrorCode::badAddress, "bad address: "}, {ErrorCode::cannotConnect, "cannot connect: "},
        {ErrorCode::tooLarge, "too large: "},     {ErrorCode::unsupported, "unsupported: "},
        {ErrorCode::noPicture, "no picture: "},   {ErrorCode::noMemory, "no memory: "}};
    return names.at(error.code) + error.description;
  }

  Data gif;
  std::int64_t downloadLimit = 1'000;
  testing::ManualExecutor executor;
  std::shared_ptr<ImageMemoryCache> cache = std::make_shared<ImageMemoryCache>();
  std::vector<std::shared_ptr<HandFedSession>> sessions;
  std::vector<std::string> events;
  AnimatedImageView::TimePoint start{std::chrono::hours(1)};
};

TEST_F(AnimatedImageViewTest, DownloadsReportsDecodesAndPlays) {
  const auto view = show();
  EXPECT_EQ(session().requested, URL::parse("http://h/a.gif"));
  EXPECT_TRUE(session().isResumed());
  EXPECT_EQ(session().respond(gif.count()), URLSessionDataDelegate::ResponseDisposition::allow);
  session().feed(gif.subdata(0, 100));
  session().feed(gif.subdata(100, gif.count() - 100));
  const auto size = std::to_string(gif.count());
  EXPECT_THAT(take(), ElementsAre("0/" + size, "100/" + size, size + "/" + size));

  session().complete();
  EXPECT_THAT(take(), IsEmpty()) << "decoded on the session's queue";
  EXPECT_EQ(view->frame(start), std::nullopt);
  executor.runAll();
  EXPECT_THAT(take(), ElementsAre("display", "loaded"));
  EXPECT_TRUE(session().isInvalidated());

  const auto first = view->frame(start);
  EXPECT_EQ(redOf(first), 0);
  EXPECT_EQ(first->naturalSize, (Size{4, 2}));
  EXPECT_EQ(first->due, start + milliseconds(100));
  EXPECT_EQ(redOf(view->frame(start + milliseconds(99))), 0);
  EXPECT_EQ(redOf(view->frame(start + milliseconds(100))), 100);
  EXPECT_EQ(redOf(view->frame(start + milliseconds(300))), 0);
}

// The picture takes 16 MB.
TEST_F(AnimatedImageViewTest, WithoutMemoryForItsFirstPictureItFailsAndSaysSo) {
  if (testing::isSanitized) GTEST_SKIP() << "a sanitizer takes more address space";
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto showWithout = [this] {
    testing::ScarceMemory::shareOneHeap();
    GifWriter writer(2000, 2000);
    writer.addFrame(std::uint8_t{0}, 10);
    const auto large = writer.data();
    downloadLimit = large.count();
    const auto view = show();
    session().feed(large);
    session().complete();
    const testing::ScarceMemory little(8 << 20);
    executor.runAll();
    for (const auto& each : events) std::fputs(each.c_str(), stderr);
    std::exit(7);
  };
  EXPECT_EXIT(showWithout(), ::testing::ExitedWithCode(7), "no memory: there is not enough");
}

TEST_F(AnimatedImageViewTest, TheSecondViewOfAnAddressIsServedFromMemory) {
  const auto first = show();
  deliver(gif);
  take();
  const auto second = show();
  EXPECT_THAT(take(), IsEmpty()) << "a handler was called inside load()";
  executor.runAll();
  EXPECT_EQ(sessions.size(), 1U);
  EXPECT_THAT(take(), ElementsAre("display", "cached"));
  EXPECT_EQ(redOf(second->frame(start)), 0);
}

TEST_F(AnimatedImageViewTest, FailuresAreReportedOnceAndAreNotCached) {
  const auto view = show();
  session().complete(Error(ErrorCode::cannotConnect, "unreachable"));
  session().complete();
  executor.runAll();
  EXPECT_THAT(take(), ElementsAre("cannot connect: unreachable"));

  view->load();
  deliver(Data(std::string_view("<html>Not found</html>")));
  EXPECT_THAT(
      take(),
      ElementsAre("22/-1", "unsupported: the bytes are in no image format that can be shown"));

  view->load();
  deliver(gif.subdata(0, 429));  // in the first frame's own header
  EXPECT_EQ(take().back(), "no picture: the image holds no picture");
  EXPECT_EQ(view->frame(start), std::nullopt);
  EXPECT_FALSE(cache->find(*URL::parse("http://h/a.gif")));

  view->load();
  deliver(gif);
  EXPECT_EQ(take().back(), "loaded");
  EXPECT_EQ(redOf(view->frame(start)), 0);
}

TEST_F(AnimatedImageViewTest, WithoutAnAddressTheLoadFails) {
  const auto view = show(std::nullopt);
  EXPECT_THAT(take(), IsEmpty());
  executor.runAll();
  EXPECT_THAT(take(), ElementsAre("bad address: the image has no address"));
}

TEST_F(AnimatedImageViewTest, ABodyBeyondTheLimitFailsBeforeItIsHeld) {
  const auto announced = show();
  EXPECT_EQ(session().respond(1'001), URLSessionDataDelegate::ResponseDisposition::cancel);
  EXPECT_THAT(take(), ElementsAre("too large: the image's file is larger than the limit"));
  EXPECT_TRUE(session().isInvalidated());

  const auto unannounced = show();
  session().respond(-1);
  session().feed(Data(std::string(1'000, 'a')));
  session().feed(Data(std::string_view("b")));
  EXPECT_THAT(take(), ElementsAre("0/-1", "1000/-1",
                                  "too large: the image's file is larger than the limit"));
  EXPECT_TRUE(session().isInvalidated());
}

TEST_F(AnimatedImageViewTest, OneLoadAtATime) {
  const auto view = show();
  view->load();
  EXPECT_EQ(sessions.size(), 1U);
  session().feed(gif);
  session().complete();
  view->load();
  executor.runAll();
  EXPECT_EQ(sessions.size(), 1U);
}

TEST_F(AnimatedImageViewTest, LettingGoEndsTheLoadInSilence) {
  auto view = show();
  view.reset();
  EXPECT_TRUE(session().isInvalidated());

  view = show();
  session().feed(gif);
  session().complete();
  take();
  view.reset();
  executor.runAll();
  EXPECT_THAT(events, IsEmpty());
}

TEST(ImageMemoryCacheTest, DropsWhatWasNotAskedForTheLongest) {
  ImageMemoryCache cache(100);
  const auto url = [](const char* name) { return *URL::parse(name); };
  const auto bytes = [](std::size_t count) { return Data(std::string(count, 'x')); };
  cache.store(url("a"), bytes(40));
  cache.store(url("b"), bytes(40));
  EXPECT_TRUE(cache.find(url("a")));
  cache.store(url("c"), bytes(40));
  EXPECT_FALSE(cache.find(url("b")));
  EXPECT_TRUE(cache.find(url("a")));

  cache.store(url("c"), bytes(60));
  EXPECT_EQ(cache.find(url("c"))->count(), 60);
  EXPECT_TRUE(cache.find(url("a"))) << "100 bytes fit exactly";
  cache.store(url("a"), bytes(101));
  EXPECT_FALSE(cache.find(url("a"))) << "the old bytes are not the address's any more";
  EXPECT_TRUE(cache.find(url("c")));
}

TEST(FramedTest, FixesWhatIsGivenAndLeavesTheRestToTheContent) {
  const AnimatedImage plain(std::nullopt);
  const auto stretched = plain.resizable(EdgeInsets(), ResizingMode::stretch);
  const Size offered{300, 200};
  const Size natural{40, 20};
  EXPECT_EQ(stretched.frame(100, 50).layout(offered, natural),
            (Layout{{100, 50}, {0, 0, 100, 50}}));
  EXPECT_EQ(stretched.frame(100, std::nullopt).layout(offered, natural),
            (Layout{{100, 200}, {0, 0, 100, 200}}));
  EXPECT_EQ(stretched.frame(std::nullopt, std::nullopt).layout(offered, natural),
            (Layout{{300, 200}, {0, 0, 300, 200}}));
  EXPECT_EQ(plain.frame(std::nullopt, std::nullopt).layout(offered, natural),
            (Layout{natural, {0, 0, 40, 20}}));
  EXPECT_EQ(plain.frame(100, std::nullopt).layout(offered, natural),
            (Layout{{100, 20}, {30, 0, 40, 20}}));
  EXPECT_EQ(plain.frame(10, 50, {1, 0}).layout(offered, natural),
            (Layout{{10, 50}, {-30, 0, 40, 20}}));
}

TEST(StateTest, TellsItsHostOfEveryWrite) {
  int writes = 0;
  const State<int> state(1, [&writes] { ++writes; });
  state.set(2);
  state.binding().set(3);
  EXPECT_EQ(state.get(), 3);
  EXPECT_EQ(writes, 2);
}

}  // namespace
}  // namespace tavrin
