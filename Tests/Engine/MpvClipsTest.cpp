// Clips that people really have: what is drawn of them, and what is told of those that give
// nothing.
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/Testing/RecordingListener.hpp"
#include "Tests/Engine/MpvSubject.hpp"

namespace tavrin::testing {

namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class MpvClipsTest : public ::testing::Test {
 protected:
  static constexpr int width = 96;
  static constexpr int height = 64;

  void load(Data bytes) {
    resource = ScriptedResource::make(std::move(bytes));
    engine->load(++number, resource->asset());
  }
  bool hears(const std::string& report, long times = 1) {
    const auto wanted = report + " " + std::to_string(number);
    return DispatchQueue::main().runUntil([&] { return listener->count(wanted) >= times; }, 30s);
  }
  void seek(double seconds) {
    bool hasEnded = false;
    engine->seek({seconds}, [&](bool) { hasEnded = true; });
    ASSERT_TRUE(DispatchQueue::main().runUntil([&] { return hasEnded; }, 30s));
  }

  /// The red, green and blue of a point of the current picture.
  std::array<int, 3> pixel(int x, int y) const {
    const auto* at = &pixels[static_cast<std::size_t>(y * width + x) * 4];
    return {std::to_integer<int>(at[0]), std::to_integer<int>(at[1]), std::to_integer<int>(at[2])};
  }
  char colour(int x, int y) const {
    const auto [red, green, blue] = pixel(x, y);
    if (red > 200 && green > 200 && blue > 200) return 'w';
    if (red < 50 && green < 50 && blue < 50) return '-';
    return red > 200 ? 'r' : green > 200 ? 'g' : 'b';
  }
  /// The colours of the four quarters of a picture of this size, by rows, and of the four places
  /// just outside it: above, below, left, right.
  std::string drawn(int pictureWidth, int pictureHeight) {
    pixels.fill({});
    if (!engine->draw({pixels.data(), width, height, width * 4})) return "no picture";
    const int left = width / 2 - pictureWidth / 4, right = width / 2 + pictureWidth / 4;
    const int top = height / 2 - pictureHeight / 4, bottom = height / 2 + pictureHeight / 4;
    const int beside = width / 2 - pictureWidth / 2 - 3;
    std::string letters = {colour(left, top), colour(right, top), colour(left, bottom),
                           colour(right, bottom)};
    return letters + (beside < 0 ? '-' : colour(beside, height / 2));
  }

  ErrorLog log;
  std::shared_ptr<RecordingListener> listener = std::make_shared<RecordingListener>();
  std::shared_ptr<ScriptedResource> resource;
  std::unique_ptr<MediaEngine> engine = makeMpvEngine(listener, log.options());
  MediaEngine::LoadId number = 0;
  alignas(64) std::array<std::byte, width * height * 4> pixels{};
};

}  // namespace

TEST_F(MpvClipsTest, StandsATurnedClipUprightAndForgetsItWithTheNextOne) {
  struct Case {
    std::string name;
    int width, height;    // of the picture as it is drawn
    const char* colours;  // by rows; then what lies to its left
  };
  // What ffmpeg draws of them.
  const Case cases[] = {{"corners", 85, 64, "rgbw-"},   {"turned90", 48, 64, "gwrb-"},
                        {"corners", 85, 64, "rgbw-"},   {"turned180", 85, 64, "wbgr-"},
                        {"turned270", 48, 64, "brwg-"}, {"turned-square", 64, 64, "gwrb-"},
                        {"corners", 85, 64, "rgbw-"}};
  for (const auto& [name, across, down, colours] : cases) {
    load(clip(name + ".mp4"));
    ASSERT_TRUE(hears("ready")) << name;
    EXPECT_EQ(drawn(across, down), colours) << name;
  }
}

TEST_F(MpvClipsTest, DrawsTheSameInEveryRoundAndAfterASeek) {
  struct Case {
    std::string name;
    int width, height;
    const char* colours;   // while it plays from its start
    const char* lastOnes;  // at its end; resized.ts is 96 x 32 by then
    int lastWidth, lastHeight;
  };
  const Case cases[] = {{"turned90.mp4", 48, 64, "gwrb-", "gwrb-", 48, 64},
                        {"tiny.webm", 64, 64, "rrrr-", "rrrr-", 64, 64},
                        {"resized.ts", 85, 64, "rrrr-", "bbbb-", 96, 32}};
  for (const auto& each : cases) {
    engine->setPlaying(true);
    load(clip(each.name));
    for (int round = 1; round <= 2; ++round) {
      ASSERT_TRUE(hears("end", round)) << each.name;
      EXPECT_EQ(drawn(each.lastWidth, each.lastHeight), each.lastOnes) << each.name;
      if (round == 2) engine->setPlaying(false);
      seek(0);
    }
    EXPECT_EQ(drawn(each.width, each.height), each.colours) << each.name;
    seek(0.2);
    EXPECT_EQ(drawn(each.width, each.height), each.colours) << each.name;
  }
  load(clip("arib-std-b67.mp4"));
  ASSERT_TRUE(hears("ready"));
  drawn(85, 64);
  const auto before = pixel(width / 2, height / 2);
  seek(0.1);
  drawn(85, 64);
  EXPECT_EQ(pixel(width / 2, height / 2), before);
}

TEST_F(MpvClipsTest, DrawsAHighDynamicRangeAsAScreenCanShowIt) {
  for (const auto* name : {"smpte2084.mp4", "corners.mp4", "arib-std-b67.mp4"}) {
    load(clip(name));
    ASSERT_TRUE(hears("ready")) << name;
    const auto colours = drawn(85, 64);
    if (name == std::string("corners.mp4")) {
      EXPECT_EQ(colours, "rgbw-");
      continue;
    }
    for (const int part : pixel(width / 2, height / 2)) {
      EXPECT_THAT(part, ::testing::AllOf(::testing::Gt(60), ::testing::Lt(200))) << name;
    }
  }
}

TEST_F(MpvClipsTest, HasAClipThatIsMuchToDecodeDecodedBySeveralThreads) {
  if (std::thread::hardware_concurrency() < 2) GTEST_SKIP() << "there is but one core";
  // A decoder's threads bear the name of the one that starts them, one in each of the two lanes, or
  // one of their own.
  const auto decoders = [] {
    const auto names = threadNames();
    const auto isDecoder = [](const auto& name) { return name.starts_with("av:"); };
    return std::ranges::count_if(names, isDecoder) +
           std::max<std::ptrdiff_t>(std::ranges::count(names, "mpv/mpv core") - 2, 0);
  };
  for (const auto* name : {"smpte2084.mp4", "quick.mp4"}) {
    load(clip(name));
    ASSERT_TRUE(hears("ready")) << name;
    EXPECT_EQ(decoders() >= 2, name == std::string("quick.mp4")) << name;
  }
}

TEST_F(MpvClipsTest, CountsTimesFromTheClipsOwnStart) {
  load(clip("offset.mp4"));  // its container's clock begins at 143165 s
  ASSERT_TRUE(hears("ready"));
  const auto knowsItsLength = [&] {
    DispatchQueue::main().async([] {});  // no report comes with it
    return engine->duration() && engine->duration()->seconds < 2;
  };
  EXPECT_TRUE(DispatchQueue::main().runUntil(knowsItsLength, 30s));
  EXPECT_LT(engine->currentTime().seconds, 0.1);
  seek(0.5);
  EXPECT_NEAR(engine->currentTime().seconds, 0.5, 0.05);
}

TEST_F(MpvClipsTest, SeeksFromTheClipsOwnStartBeforeItIsOpen) {
  for (int round = 0; round < 2; ++round) {
    load(clip("offset.mp4"));
    seek(0.5);
    engine->setPlaying(true);
    ASSERT_TRUE(hears("end"));
    EXPECT_NEAR(engine->currentTime().seconds, 1, 0.1);
    engine->setPlaying(false);
  }
}

TEST_F(MpvClipsTest, PlaysToItsEndWhatDeclaresMoreTimeThanItHasPictures) {
  engine->setPlaying(true);
  load(clip("longer.mp4"));
  ASSERT_TRUE(hears("ready"));
  ASSERT_TRUE(hears("end"));
  EXPECT_THAT(listener->reports(), ElementsAre("ready 1", "end 1"));
}

TEST_F(MpvClipsTest, FailsForAVideoThatDecodesToNothingWithAndWithoutSound) {
  engine->setPlaying(true);
  for (const auto* name : {"red.mp4", "corners.mp4"}) {
    auto bytes = std::string(clip(name).text());
    const auto body = bytes.find("mdat") + 4;
    for (auto i = body; i < bytes.size() && i < body + 500; ++i)
      bytes[i] = static_cast<char>(i * 37);
    load(Data(bytes));
    ASSERT_TRUE(hears("failed"));
    EXPECT_EQ(listener->error().code, ErrorCode::noPicture);
    EXPECT_EQ(drawn(64, 64), "no picture");
  }
  EXPECT_THAT(listener->reports(), ElementsAre("failed 1", "failed 2"));
}

// Encrypted pictures decode to some by chance. These do always, for only their names are changed.
TEST_F(MpvClipsTest, RefusesEncryptedPicturesAndPlaysPicturesBesideEncryptedSound) {
  engine->setPlaying(true);
  const auto renamed = [](const char* name, const char* from, const char* to) {
    auto bytes = std::string(clip(name).text());
    bytes.replace(bytes.find(from, bytes.find("stsd")), 4, to);
    return Data(bytes);
  };
  for (const auto& bytes :
       {renamed("red.mp4", "avc1", "encv"), renamed("corners.mp4", "avc1", "encv"),
        renamed("red.mp4", "pasp", "sinf"), clip("encrypted.mp4")}) {
    load(bytes);
    ASSERT_TRUE(hears("failed")) << number;
    EXPECT_EQ(listener->error().code, ErrorCode::noPicture);
    EXPECT_THAT(listener->error().description, HasSubstr("encrypted"));
    EXPECT_EQ(drawn(64, 64), "no picture");
  }
  // Decoded without what it is coded with, sound is noise and errors.
  auto withoutConfiguration = std::string(renamed("red.mp4", "mp4a", "enca").text());
  withoutConfiguration.replace(withoutConfiguration.find("esds"), 4, "free");
  load(Data(withoutConfiguration));
  ASSERT_TRUE(hears("end"));
  EXPECT_EQ(drawn(85, 64), "rrrr-");
  EXPECT_THAT(log.lines(), ::testing::IsEmpty());
}

TEST_F(MpvClipsTest, RefusesPicturesThatAreTooLargeAndSaysSo) {
  // Of 160 x 120 pixels. The container of the last one says 16 x 120.
  auto lying = std::string(clip("red.mp4").text());
  lying[lying.find("avc1", lying.find("stsd")) + 4 + 25] = 16;
  const Data clips[] = {clip("red.webm"), clip("red.mp4"), Data(lying)};
  struct Case {
    std::int64_t maxSide, maxPixels;
    const char* told;
  };
  for (const auto& [maxSide, maxPixels, told] :
       {Case{159, 160 * 120, "failed"}, Case{160, 160 * 120 - 1, "failed"},
        Case{16, 16 * 100, "failed"}, Case{160, 160 * 120, "ready"}}) {
    auto options = log.options();
    options.maxSide = maxSide;
    options.maxPixels = maxPixels;
    engine = makeMpvEngine(listener, options);
    for (const auto& bytes : clips) {
      load(bytes);
      ASSERT_TRUE(hears(told)) << number;
      if (told == std::string("ready")) continue;
      EXPECT_EQ(listener->error().code, ErrorCode::tooLarge) << number;
    }
  }
}

TEST_F(MpvClipsTest, TellsWhatTheLoaderKnowsAndNothingOfLibmpvs) {
  resource = ScriptedResource::make(clip("corners.mp4"));
  resource->setAvailable(0);
  const auto asset = resource->asset();
  resource->breakOff(asset);
  engine->load(++number, asset);
  ASSERT_TRUE(hears("failed"));
  EXPECT_EQ(listener->error(), *asset->resourceLoader()->end()->error);

  load(Data("<!DOCTYPE html><title>Not found</title>"));
  ASSERT_TRUE(hears("failed"));
  EXPECT_EQ(listener->error().code, ErrorCode::unsupported);
  EXPECT_THAT(listener->error().description, ::testing::Not(HasSubstr("tavrin-reader")));
}

}  // namespace tavrin::testing
