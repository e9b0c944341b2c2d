#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "App/DownloadWatch.hpp"
#include "App/ScreenText.hpp"

namespace tavrin::app {
namespace {

using ::testing::ElementsAre;
using namespace std::chrono_literals;

VideoDownload download(const char* name, std::int64_t received,
                       std::optional<std::int64_t> expected = std::nullopt) {
  return {*URL::parse(std::string("http://host/") + name), {received, expected}};
}

TEST(DownloadWatch, TellsWhatHasComeAndHowFastItCame) {
  DownloadWatch watch;
  const DownloadWatch::Clock::time_point start;
  EXPECT_TRUE(
      watch.update({download("b.mp4", 0), download("a.mp4", 0), download("b.mp4", 7)}, start));
  EXPECT_THAT(watch.names(), ElementsAre("b.mp4", "a.mp4"));
  EXPECT_EQ(watch.rate("b.mp4"), std::nullopt) << "too early";
  watch.update({download("b.mp4", 0, 1'000'000), download("a.mp4", 0)}, start + 3s);
  EXPECT_FALSE(watch.update({download("b.mp4", 0, 1'000'000), download("a.mp4", 0)}, start + 4s));
  watch.update({download("b.mp4", 500'000, 1'000'000)}, start + 5s);
  // Of the last seconds alone: the first ones without a byte no longer count.
  EXPECT_EQ(rateText(*watch.rate("b.mp4")), "2.0 Mbit/s");
  EXPECT_EQ(progressText(*watch.progress("b.mp4")), "50 %");
  EXPECT_EQ(watch.progress("a.mp4"), std::nullopt);
  EXPECT_EQ(watch.rate("a.mp4"), std::nullopt);
}

TEST(ScreenText, ReadsWell) {
  EXPECT_EQ(progressText({0, std::nullopt}), "");
  EXPECT_EQ(progressText({0, 10}), "0 %");
  EXPECT_EQ(progressText({999, 1000}), "99 %");
  EXPECT_EQ(progressText({1'250'000, std::nullopt}), "1.2 MB");
  EXPECT_EQ(rateText(12'500), "100 kbit/s");
  EXPECT_EQ(clockText(65.9), "1:05");
  EXPECT_EQ(clockText(3725), "1:02:05");
  EXPECT_EQ(displayName("jumping-jacks.v2.mp4"), "Jumping jacks.v2");
  EXPECT_EQ(displayName(""), "Untitled");
}

}  // namespace
}  // namespace tavrin::app
