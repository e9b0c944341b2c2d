// A clip that asks much of the machine: 3840x2160, 60 frames per second, 10-bit HEVC, 10 s. Beside
// the mpv program with its own defaults, each playing into 1280x720 pixels.
//
// mpv draws with its X11 output under Xvfb: its first choice, OpenGL, is done in software there and
// did not play when it was tried. Our engine draws into memory. Both scale with the same library,
// and play a sound that goes nowhere, which keeps the time.

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "Benchmarks/Figures.hpp"
#include "Benchmarks/Playback.hpp"
#include "Benchmarks/Timing.hpp"
#include "Tavrin/Foundation/FileManager.hpp"
#include "Tavrin/Foundation/NotificationCenter.hpp"
#include "Tavrin/Item/CachingPlayerItem.hpp"
#include "Tavrin/Media/AVPlayer.hpp"

namespace tavrin::benchmarks {
namespace {

constexpr int width = 1280;
constexpr int height = 720;
constexpr int frames = 600;

struct Played {
  int shown = 0;  // pictures
  double seconds = std::nan("");

  double dropped() const { return std::isnan(seconds) ? seconds : frames - shown; }
  void tell(const char* who) const {
    std::fprintf(stderr, "%s showed %d of %d frames in %.1f s\n", who, shown, frames, seconds);
  }
};

// Drawn once and kept beside this program: it takes minutes.
std::string clip() {
  const std::string file = TAVRIN_DRAWN_CLIPS "/4k60-hevc10.mp4";
  const auto part = TAVRIN_DRAWN_CLIPS "/part.mp4";
  if (std::filesystem::exists(file)) return file;
  drawClip(
      "-f lavfi -i testsrc2=size=3840x2160:rate=60,noise=alls=8:allf=t -f lavfi -i "
      "sine=frequency=220 -t 10 -c:v libx265 -preset ultrafast -x265-params log-level=error "
      "-b:v 30M -pix_fmt yuv420p10le -tag:v hvc1 -c:a aac -shortest",
      part);
  std::filesystem::rename(part, file);
  return file;
}

struct Ended {
  bool hasEnded = false;
};

Played playOurs(const std::string& file) {
  const auto item =
      CachingPlayerItem::make(FileManager::open(file).value(), "video/mp4", "clip.mp4");
  const auto ended = std::make_shared<Ended>();
  NotificationCenter::defaultCenter().addObserver<Ended>(
      ended, [](Ended& self) { self.hasEnded = true; }, AVPlayerItemDidPlayToEndTime, item);
  const auto player = AVPlayer::make(item);
  std::vector<std::byte> pixels(std::size_t{width} * height * 4);
  const auto hasNewPicture = std::make_shared<bool>(false);  // main queue only
  player->engine().setPictureHandler(
      [hasNewPicture] { DispatchQueue::main().async([hasNewPicture] { *hasNewPicture = true; }); });
  Played played;
  player->play();
  Clock::time_point start;
  const bool isWhole = pumpUntil(
      [&] {
        if (std::exchange(*hasNewPicture, false) &&
            player->engine().draw({pixels.data(), width, height, width * 4})) {
          if (played.shown++ == 0) start = Clock::now();
        }
        return ended->hasEnded;
      },
      60s);
  player->engine().setPictureHandler(nullptr);
  if (isWhole) played.seconds = secondsSince(start);
  return played;
}

// Its status line tells the number of the frame and how many were dropped before it.
Played playMpv(const std::string& file) {
  const auto command =
      "timeout 60 xvfb-run -a -s '-screen 0 1280x720x24' mpv --no-config --ao=null --vo=x11 "
      "--geometry=1280x720 --term-status-msg='at ${estimated-frame-number} ${frame-drop-count} "
      "${decoder-frame-drop-count} ' " +
      file + " < /dev/null 2>&1";
  const auto start = Clock::now();
  FILE* output = ::popen(command.c_str(), "r");
  if (output == nullptr) return {};
  std::string text;
  for (int each = std::fgetc(output); each != EOF; each = std::fgetc(output)) {
    text += static_cast<char>(each);
  }
  const bool isWhole = ::pclose(output) == 0;
  Played played;
  int frame = 0;
  int late = 0;
  int undecoded = 0;
  const auto last = text.rfind("at ");
  if (last == std::string::npos ||
      std::sscanf(text.c_str() + last, "at %d %d %d", &frame, &late, &undecoded) != 3) {
    return played;
  }
  played.shown = frame + 1 - late - undecoded;
  if (isWhole) played.seconds = secondsSince(start);
  return played;
}

void dropped(Figures& figures) {
  const auto file = clip();
  std::vector<double> ours;
  std::vector<double> theirs;
  for (int round = 0; round < 3; ++round) {
    const auto mpv = playMpv(file);
    const auto own = playOurs(file);
    mpv.tell("mpv");
    own.tell("our engine");
    theirs.push_back(mpv.dropped());
    ours.push_back(own.dropped());
  }
  figures.report("play.dropped_4k", median(ours), "frames of 600, and no more than mpv",
                 atMost(median(theirs)));
}

}  // namespace
}  // namespace tavrin::benchmarks

int main(int argc, char** argv) {
  using namespace tavrin::benchmarks;
  Figures figures(argc, argv);
  useMpv();
  figures.measure({"play.dropped_4k"}, dropped);
  return figures.exitStatus();
}
