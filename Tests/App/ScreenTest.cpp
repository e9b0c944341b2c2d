#include <gtest/gtest.h>

#include <chrono>
#include <fstream>

#include "App/Screen.hpp"
#include "App/ScreenLayout.hpp"
#include "Tavrin/Testing/TemporaryDirectory.hpp"
#include "Tests/App/CommandLine.hpp"
#include "Tests/App/PictureFile.hpp"
#include "Tests/App/Process.hpp"

namespace tavrin::testing {
namespace {

using app::ScreenControl;
using app::ScreenLayout;

// The bars by which the sample's items are told apart, and the module's colours.
constexpr Pixel squats{255, 90, 79};
constexpr Pixel stretch{194, 102, 255};
constexpr Pixel pushUps{63, 208, 122};
constexpr Pixel accent{46, 214, 163};
constexpr Pixel icon{243, 246, 248};
constexpr Pixel cardRed{255, 122, 112};

constexpr Size usual{880, 700};
constexpr std::int64_t itemCount = 6;

ScreenLayout layoutOf(Size size, std::int64_t current) {
  return ScreenLayout::make(size, itemCount, current);
}

// Where the bar of a 16:9 picture is in a stage.
Pixel barIn(const PictureFile& picture, const Rect& stage) {
  const double height = std::min(stage.height, stage.width * 9 / 16);
  return picture.at(stage.x + stage.width / 2, stage.y + (stage.height - height) / 2 + height / 30);
}

bool hasIcon(const PictureFile& picture, const Rect& button) {
  const double share = picture.share(button, icon);
  return share > 0.04 && share < 0.5;
}

TEST(ScreenLayout, HasRoomForEveryControlAtEverySize) {
  for (const Size size : {Size{160, 160}, Size{240, 300}, Size{400, 300}, Size{880, 700},
                          Size{1920, 1080}, Size{300, 1200}}) {
    for (const std::int64_t count : {1, 6, 500}) {
      const auto layout = ScreenLayout::make(size, count, count - 1);
      EXPECT_GE(layout.stage.height, 40) << size.width << "x" << size.height;
      for (const auto& button : {layout.previous, layout.playPause, layout.next, layout.mute}) {
        EXPECT_GE(button.x, 0) << size.width << "x" << size.height;
        EXPECT_LE(button.x + button.width, size.width) << size.width << "x" << size.height;
        EXPECT_LE(button.y + button.height, size.height) << size.width << "x" << size.height;
      }
      // No button covers another.
      EXPECT_LE(layout.previous.x + layout.previous.width, layout.playPause.x) << size.width;
      EXPECT_LE(layout.playPause.x + layout.playPause.width, layout.next.x) << size.width;
      EXPECT_LE(layout.next.x + layout.next.width, layout.mute.x) << size.width;
      if (layout.items.empty()) continue;
      // The current item is among those that fit.
      EXPECT_EQ(layout.firstItem + static_cast<std::int64_t>(layout.items.size()), count);
      EXPECT_GE(layout.items.front().x, 0);
      EXPECT_LE(layout.items.back().x + layout.items.back().width, size.width);
    }
  }
}

TEST(ScreenLayout, FindsTheControlAtAPlace) {
  const auto layout = layoutOf(usual, 0);
  const auto at = [&](const Rect& rect) {
    return layout.controlAt(rect.x + rect.width / 2, rect.y + rect.height / 2);
  };
  EXPECT_EQ(at(layout.mute), ScreenControl{ScreenControl::Kind::mute});
  EXPECT_EQ(at(layout.leave), ScreenControl{ScreenControl::Kind::leave});
  EXPECT_EQ(at(layout.items[3]), (ScreenControl{ScreenControl::Kind::item, 3}));
  EXPECT_EQ(at(layout.stage), std::nullopt);
  // The bar is thin: a little above and below is still meant for it.
  const auto& bar = layout.progress;
  EXPECT_EQ(layout.controlAt(bar.x, bar.y - 6), ScreenControl{ScreenControl::Kind::position});
  EXPECT_EQ(layout.partAt(bar.x + bar.width / 4), 0.25);
  EXPECT_EQ(layout.partAt(-1000), 0);
  EXPECT_EQ(layout.partAt(5000), 1);
}

TEST(Snapshot, ShowsWhatIsCurrentAtEverySize) {
  const TemporaryDirectory directory;
  const auto path = [&](const char* name) { return (directory.path() / name).string(); };
  for (const Size size : {Size{320, 240}, usual, Size{1280, 720}}) {
    const auto run = runPlayer(
        path("cache"), "--headless --size " + std::to_string(static_cast<int>(size.width)) + "x" +
                           std::to_string(static_cast<int>(size.height)) +
                           " --script 'set 1; wait ready; snapshot " + path("1.png") +
                           "; set 2; wait ready; mute; snapshot " + path("2.png") +
                           "; set 4; wait ready; pause; snapshot " + path("4.png") + "'");
    ASSERT_EQ(run.status, 0) << run.output;
    const std::pair<const char*, Pixel> shots[] = {
        {"1.png", squats}, {"2.png", stretch}, {"4.png", pushUps}};
    for (const auto& [name, bar] : shots) {
      const auto picture = PictureFile::png(path(name));
      ASSERT_TRUE(picture) << name;
      ASSERT_EQ(picture->width(), size.width);
      const auto layout = layoutOf(size, name[0] - '1');
      EXPECT_TRUE(barIn(*picture, layout.stage).isNear(bar)) << name << " at " << size.width;
      EXPECT_TRUE(hasIcon(*picture, layout.previous)) << name << " at " << size.width;
      EXPECT_TRUE(hasIcon(*picture, layout.next)) << name << " at " << size.width;
      EXPECT_TRUE(hasIcon(*picture, layout.mute)) << name << " at " << size.width;
    }
    // The sound's icon and the button of the image differ from those of the playing video.
    const auto first = PictureFile::png(path("1.png"));
    const auto second = PictureFile::png(path("2.png"));
    const auto layout = layoutOf(size, 0);
    EXPECT_NE(first->share(layout.mute, icon), second->share(layout.mute, icon));
    EXPECT_GT(first->share(layout.playPause, accent), 0.5);
    EXPECT_EQ(second->share(layout.playPause, accent), 0);
  }
}

TEST(Screen, ShowsWhatHasComeOfTheVideoBesideWhatHasBeenPlayed) {
  app::ScreenModel model;
  model.items.resize(1);
  model.current = 0;
  model.stage = app::ScreenModel::Stage::shown;
  model.drawVideo = [](const PixelBuffer&) { return false; };
  model.canSeek = true;
  model.duration = 10;
  model.seconds = 2;
  model.loaded = 0.5;
  app::Canvas canvas(880, 700, 1);
  drawScreen(canvas, model);
  const auto bar = layoutOf(usual, 0).progress;
  const auto colorAt = [&](double part) {
    const auto x = static_cast<std::ptrdiff_t>(bar.x + bar.width * part);
    const auto y = static_cast<std::ptrdiff_t>(bar.y + 1);
    const auto* pixel = canvas.pixels() + y * canvas.stride() + x * 4;
    return Pixel{std::to_integer<int>(pixel[2]), std::to_integer<int>(pixel[1]),
                 std::to_integer<int>(pixel[0])};
  };
  EXPECT_TRUE(colorAt(0.1).isNear(accent));
  const auto come = colorAt(0.4);
  EXPECT_TRUE(colorAt(0.48).isNear(come));
  EXPECT_FALSE(come.isNear(accent));
  EXPECT_FALSE(come.isNear(colorAt(0.6)));
}

TEST(Snapshot, ShowsACardInThePlaceOfWhatCouldNotBeLoaded) {
  const TemporaryDirectory directory;
  const auto path = [&](const char* name) { return (directory.path() / name).string(); };
  std::ofstream(path("page.gif")) << "<html>";
  std::ofstream(path("page.mp4")) << "<html>";
  std::ofstream(path("workout.json")) << R"({"title": "T", "media": [
    {"id": "1cd8eb1b-566b-455d-b077-ffbc14d8860a", "url": "page.gif", "mimeType": "image/gif"},
    {"id": "6abb0ae4-d307-4c02-8854-64d92494003c", "url": "page.mp4", "mimeType": "video/mp4"}]})";
  const auto run = runPlayer(path("cache"), path("workout.json") +
                                                " --headless --script 'set 1; wait ready; "
                                                "snapshot " +
                                                path("1.png") + "; set 2; wait ready; snapshot " +
                                                path("2.png") + "'");
  EXPECT_EQ(run.status, 3) << run.output;
  const auto layout = ScreenLayout::make(usual, 2, 0);
  for (const char* name : {"1.png", "2.png"}) {
    const auto picture = PictureFile::png(path(name));
    ASSERT_TRUE(picture) << name;
    EXPECT_GT(picture->share(layout.stage, cardRed), 0) << name;
    EXPECT_GT(picture->share(layout.stage, {23, 28, 34}), 0.05) << name;
    EXPECT_EQ(picture->share(layout.playPause, accent), 0) << name;
  }
}

// A real window on a real X server, whose screen lies in a file.
TEST(Window, ShowsThePictureAndTheControls) {
  const TemporaryDirectory directory;
  const auto folder = directory.path().string();
  Process server("Xvfb -displayfd 1 -nolisten tcp -screen 0 880x700x24 -fbdir " + folder +
                 " 2>/dev/null");
  const auto display = server.readLine();
  ASSERT_FALSE(display.empty()) << "Xvfb did not start";
  Process player("env DISPLAY=:" + display + " SDL_VIDEODRIVER=x11 SDL_RENDER_DRIVER=software " +
                 "XDG_CACHE_HOME=" + folder +
                 " " TAVRIN_WORKOUT_PLAYER
                 " --no-audio --script 'set 1; wait ready; mute; wait 90s; quit'");
  for (std::string line; line.find("sound: off") == line.npos;) {
    line = player.readLine();
    ASSERT_FALSE(line.empty()) << "the player has ended";
  }
  const auto layout = layoutOf(usual, 0);
  const auto isComplete = [&](const PictureFile& screen) {
    return barIn(screen, layout.stage).isNear(squats) && hasIcon(screen, layout.previous) &&
           hasIcon(screen, layout.next) && hasIcon(screen, layout.mute) &&
           screen.share(layout.playPause, accent) > 0.5 &&
           screen.share(layout.progress, accent) > 0;
  };
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  bool isShown = false;
  while (!isShown && std::chrono::steady_clock::now() < deadline) {
    const auto screen = PictureFile::screen(folder + "/Xvfb_screen0");
    isShown = screen && isComplete(*screen);
  }
  EXPECT_TRUE(isShown);
}

}  // namespace
}  // namespace tavrin::testing
