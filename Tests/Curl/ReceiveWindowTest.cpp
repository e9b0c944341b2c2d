#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <optional>

#include "Tavrin/Curl/ReceiveWindow.hpp"

namespace tavrin::curl {
namespace {

using namespace std::chrono_literals;

/// A body that comes in pieces of a hundredth of a second.
struct Body {
  explicit Body(std::chrono::milliseconds delay, std::optional<std::int64_t> known = {}) {
    window.begin(now, delay, known);
  }

  // In bytes a second. Returns the window, 0 for none.
  double come(std::int64_t rate, std::chrono::milliseconds time) {
    for (auto left = time; left > 0ms; left -= 10ms) {
      now += 10ms;
      window.received(rate / 100, now);
    }
    return static_cast<double>(window.bytes().value_or(0));
  }

  ReceiveWindow window;
  ReceiveWindow::Clock::time_point now{};
};

TEST(ReceiveWindow, HoldsWhatASlowLinkTakesInItsTime) {
  Body body(200ms);
  EXPECT_EQ(body.come(5'000'000, 500ms), 0) << "what comes first has waited elsewhere";
  EXPECT_NEAR(body.come(500'000, 510ms), 75'000, 2'000);
  EXPECT_EQ(body.window.room(), std::nullopt) << "more may still be under way";
  EXPECT_NEAR(body.come(100'000, 5s), 75'000, 2'000) << "others have the link for a while";
  EXPECT_EQ(body.window.room(), 2 * body.window.bytes().value());
  EXPECT_NEAR(body.come(1'000'000, 1s), 150'000, 4'000);
  body.window.goOn(body.now);
  EXPECT_NEAR(body.come(9'000'000, 500ms), 150'000, 4'000) << "it has piled up in a pause";
  EXPECT_EQ(body.come(9'000'000, 1s), 0) << "the link has become a fast one";
}

TEST(ReceiveWindow, IsNeitherTinyNorSetForAFastLink) {
  EXPECT_EQ(Body(1ms).come(50'000, 1100ms), 16 * 1024);
  EXPECT_NEAR(Body(20s).come(100'000, 1100ms), 50'000, 1'000);
  EXPECT_EQ(Body(1ms).come(10'000'000, 1100ms), 0);
}

TEST(ReceiveWindow, BeginsAsAnEarlierOneOfTheServer) {
  Body body(200ms, 60'000);
  EXPECT_EQ(body.come(100'000, 2s), 60'000) << "it may share the link";
  EXPECT_EQ(body.come(10'000'000, 1s), 0);
}

}  // namespace
}  // namespace tavrin::curl
