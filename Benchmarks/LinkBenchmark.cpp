// A cold workout over a link: ten clips of 2.2 Mbit/s and 8 s, none of them on disk. Through the
// store and the real engine, without sound; libmpv alone, with the link to itself, is the peer.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Benchmarks/Figures.hpp"
#include "Benchmarks/Peers/BareMpv.hpp"
#include "Benchmarks/PlayedWorkout.hpp"
#include "Benchmarks/ProcessFigures.hpp"
#include "Tavrin/Cache/VideoCacheDependency.hpp"
#include "Tavrin/Foundation/NotificationCenter.hpp"

namespace tavrin::benchmarks {
namespace {

constexpr int videos = 10;
constexpr int rounds = 3;

struct Link {
  std::string kilobits;  // a second
  std::int64_t bytesPerSecond;

  PlayedWorkout::Link settings() const { return {bytesPerSecond, 30ms}; }
  std::string unit(const std::string& what) const { return what + ", " + kilobits + " kbit/s"; }
};
const Link fast{"8000", 1'000'000}, slow{"2800", 350'000}, tooSlowLink{"1500", 187'500};

const std::string& clip() {
  static const testing::TemporaryDirectory directory;
  static const std::string file = (directory.path() / "clip.mp4").string();
  if (!std::filesystem::exists(file)) {
    drawClip(
        "-f lavfi -i testsrc2=size=1280x720:rate=30 -t 8 -c:v libx264 -preset veryfast -pix_fmt "
        "yuv420p -b:v 2200k -minrate 2200k -maxrate 2200k -bufsize 1100k -x264-params nal-hrd=cbr",
        file);
  }
  return file;
}

// What a player tells of whatever it plays.
struct Events {
  int stalls = 0;
  int ends = 0;

  static std::shared_ptr<Events> count() {
    auto events = std::make_shared<Events>();
    auto& center = NotificationCenter::defaultCenter();
    center.addObserver<Events>(
        events, [](Events& self) { ++self.stalls; }, AVPlayerItemPlaybackStalled);
    center.addObserver<Events>(
        events, [](Events& self) { ++self.ends; }, AVPlayerItemDidPlayToEndTime);
    return events;
  }
};

// Until then a step would stream its video beside the download.
void waitForDownloads(const PlayedWorkout& workout) {
  const auto count = [&] {
    return std::ssize(runningDownloads(workout.state().managerId())) + workout.countKept();
  };
  while (count() < videos) pumpFor(1ms);
}

struct Watched {
  double firstPicture = std::nan("");  // milliseconds
  double stalls = std::nan("");
  double total = std::nan("");  // seconds, until all are kept
};

/// A workout that is watched, and what is measured meanwhile.
class Watching {
 public:
  explicit Watching(const Link& link) : workout_(videos, false, "plain", clip_, link.settings()) {
    const auto prepared = Clock::now();
    waitForDownloads(workout_);
    waited_ = millisecondsSince(prepared);
  }

  // The first clips to their ends, one after another. Without any, only the first picture counts.
  Watched watch(int clips) {
    for (int i = 0; i < std::max(clips, 1); ++i) {
      const auto picture = workout_.step(i);
      if (!picture) return watched_;
      if (i == 0) watched_.firstPicture = waited_ + *picture;
      if (clips > 0 && !playUntil([&] { return events_->ends > i; })) return watched_;
    }
    watched_.stalls = events_->stalls;
    return watched_;
  }
  Watched waitForAll() {
    playUntil([&] { return !std::isnan(watched_.total); });
    return watched_;
  }

 private:
  bool playUntil(const std::function<bool()>& done) {
    const auto begun = Clock::now();
    while (!done()) {
      if (secondsSince(begun) > 90) return false;
      workout_.playOn(20ms);
      const bool areAllKept = workout_.countKept() == videos;
      if (areAllKept && std::isnan(watched_.total)) watched_.total = secondsSince(start_);
    }
    return true;
  }

  const std::string clip_ = clip();  // drawn before the clock runs
  const Clock::time_point start_ = Clock::now();
  const std::shared_ptr<Events> events_ = Events::count();
  PlayedWorkout workout_;
  double waited_ = 0;  // milliseconds, for the downloads to begin
  Watched watched_;
};

std::vector<double> peers(const Link& link) {
  std::vector<double> times;
  testing::RangeServer server;
  server.serve("/clip.mp4", contents(clip()));
  for (int i = 0; i < rounds; ++i) {
    const testing::LinkSimulator simulator(server.port(), link.settings());
    BareMpv peer(simulator.url("/clip.mp4"));
    times.push_back(peer.open().value_or(std::nan("")));
  }
  std::fprintf(stderr, "libmpv alone, at %s kbit/s: %.0f ms\n", link.kilobits.c_str(),
               median(times));
  return times;
}

void watching(Figures& figures, const Link& link) {
  const auto& name = link.kilobits;
  const bool wantsTotal = figures.isWanted("link.total_" + name);
  const bool wantsStalls = figures.isWanted("link.stalls_" + name);
  std::vector<double> pictures, totals;
  double stalls = 0;
  for (int i = 0; i < rounds; ++i) {
    Watching watching(link);
    auto watched = watching.watch(wantsStalls || wantsTotal ? 3 : 0);
    if (wantsTotal) watched = watching.waitForAll();
    std::fprintf(stderr, "first picture %.0f ms, %.0f stalls, total %.1f s\n", watched.firstPicture,
                 watched.stalls, watched.total);
    pictures.push_back(watched.firstPicture);
    stalls += watched.stalls;
    totals.push_back(watched.total);
  }
  if (figures.isWanted("link.first_picture_" + name)) {
    figures.report("link.first_picture_" + name, median(pictures) / median(peers(link)),
                   link.unit("of libmpv alone"), atMost(1.2));
  }
  if (wantsStalls) {
    figures.report("link.stalls_" + name, stalls, link.unit("in 3 x three clips"), atMost(0));
  }
  if (!wantsTotal) return;
  const auto bytes = static_cast<double>(videos * std::filesystem::file_size(clip()));
  const auto least = bytes / static_cast<double>(link.bytesPerSecond);
  figures.report("link.total_" + name, median(totals) / least,
                 link.unit("of the bytes divided by the rate"), atMost(1.05));
}

// A clip whose bytes come more slowly than they are played stalls once, and then plays to its end.
void tooSlow(Figures& figures) {
  figures.report("link.stalls_" + tooSlowLink.kilobits, Watching(tooSlowLink).watch(1).stalls,
                 tooSlowLink.unit("in a clip"), atMost(1));
}

// The tenth, while the first plays and the others download.
void farStep(Figures& figures, const Link& link) {
  std::vector<double> times;
  for (int i = 0; i < rounds; ++i) {
    PlayedWorkout workout(videos, false, "plain", clip(), link.settings());
    waitForDownloads(workout);
    workout.step(0);
    workout.playOn(2s);
    times.push_back(workout.step(videos - 1).value_or(std::nan("")));
    std::fprintf(stderr, "far step %.0f ms\n", times.back());
  }
  figures.report("link.step_far_" + link.kilobits, median(times) / median(peers(link)),
                 link.unit("of libmpv alone"), atMost(1.3));
}

// Bodies of 100 MiB that nobody watches; the server holds one for all.
void memory(Figures& figures) {
  constexpr std::int64_t mebibyte = 1 << 20, length = 100 * mebibyte;
  const testing::TemporaryDirectory directory;
  const auto body = (directory.path() / "body.mp4").string();
  std::ofstream(body).close();
  std::filesystem::resize_file(body, length);
  std::vector<double> peaks;
  for (int i = 0; i < rounds; ++i) {
    const auto start = Clock::now();
    PlayedWorkout workout(videos, false, "plain", body,
                          PlayedWorkout::Link{.bytesPerSecond = 125 * 1'000'000});
    const auto before = statusBytes("VmRSS");
    resetPeak();
    while (workout.countKept() < videos && secondsSince(start) < 60) workout.playOn(20ms);
    const auto added = static_cast<double>(peakBytes() - before) / mebibyte;
    peaks.push_back(workout.countKept() == videos ? added : std::nan(""));
  }
  figures.report("link.peak_memory", median(peaks), "MiB, 10 x 100 MiB cold", atMost(3 * 100 + 64));
}

// Bodies so small that each takes two round trips and no time.
void smallBodies(Figures& figures) {
  constexpr int count = 1200;
  const testing::TemporaryDirectory directory;
  const auto body = (directory.path() / "body.mp4").string();
  std::ofstream(body) << std::string(2048, 'v');
  const auto start = Clock::now();
  PlayedWorkout workout(count, false, "plain", body, fast.settings());
  while (workout.countKept() < count && secondsSince(start) < 100) workout.playOn(20ms);
  const bool isDone = workout.countKept() == count;
  figures.report("link.small_bodies", isDone ? secondsSince(start) : std::nan(""),
                 fast.unit("s, 1,200 x 2 KiB cold"), atMost(15));
}

}  // namespace
}  // namespace tavrin::benchmarks

int main(int argc, char** argv) {
  using namespace tavrin::benchmarks;
  Figures figures(argc, argv);
  useMpv();
  figures.measure({"link.first_picture_8000", "link.stalls_8000", "link.total_8000"},
                  [](Figures& all) { watching(all, fast); });
  figures.measure({"link.first_picture_2800", "link.stalls_2800", "link.total_2800"},
                  [](Figures& all) { watching(all, slow); });
  figures.measure({"link.stalls_1500"}, tooSlow);
  figures.measure({"link.step_far_8000"}, [](Figures& all) { farStep(all, fast); });
  figures.measure({"link.step_far_2800"}, [](Figures& all) { farStep(all, slow); });
  figures.measure({"link.peak_memory"}, memory);
  figures.measure({"link.small_bodies"}, smallBodies);
  return figures.exitStatus();
}
