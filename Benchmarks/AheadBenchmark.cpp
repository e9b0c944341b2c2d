// What it brings, and what it costs, that the neighbours of a video are open before a person steps
// to them. Through the store and the real engine, without sound.

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "Benchmarks/Figures.hpp"
#include "Benchmarks/Peers/SteppingPeer.hpp"
#include "Benchmarks/PlayedWorkout.hpp"
#include "Benchmarks/ProcessFigures.hpp"
#include "Tavrin/Media/OpenAhead.hpp"

namespace tavrin::benchmarks {
namespace {

constexpr std::int64_t items = 5;
constexpr int peerSteps = 10;
constexpr auto pause = 1s;  // a person's, between two steps

struct Size {
  std::string name;
  std::string clip;
  double laneLimit;  // MiB
};

std::string drawnClip(const testing::TemporaryDirectory& directory) {
  auto file = (directory.path() / "1080.mp4").string();
  drawClip(
      "-f lavfi -i testsrc2=size=1920x1080:rate=30 -t 6 -c:v libx264 -preset veryfast "
      "-pix_fmt yuv420p",
      file);
  return file;
}

const std::vector<Size>& sizes() {
  static const testing::TemporaryDirectory directory;
  static const std::vector<Size> all = {{"360", clips + "/squats.mp4", 12},
                                        {"1080", drawnClip(directory), 40}};
  return all;
}

// There and back again.
std::vector<double> steppingBothWays(PlayedWorkout& workout, int count) {
  std::vector<std::int64_t> indices;
  for (std::int64_t at = 0, by = 1; count >= 0; --count, at += by) {
    indices.push_back(at);
    if (at + by < 0 || at + by >= items) by = -by;
  }
  const auto times = workout.steps(indices, pause);
  return {times.begin() + 1, times.end()};  // nothing plays before the first
}

// As our own steps: each while the clip before it plays, the next one made ready meanwhile.
double medianOfPeer(SteppingPeer& peer, const std::string& clip) {
  std::vector<double> times;
  for (int i = 0; i <= peerSteps; ++i) {
    peer.prepare(clip);
    std::this_thread::sleep_for(pause);
    times.push_back(peer.step(clip).value_or(std::nan("")));
  }
  peer.stop();
  times.erase(times.begin());  // nothing played before it
  std::fprintf(stderr, "%s: %.1f ms, the worst %.1f\n", peer.name().c_str(), median(times),
               worst(times));
  return median(times);
}

void steps(Figures& figures) {
  const auto gstreamer = gstreamerPeers();
  const auto vlc = vlcPeers();
  for (const auto& size : sizes()) {
    std::vector<double> times;
    {
      PlayedWorkout workout(items, true, "plain", size.clip);
      times = steppingBothWays(workout, 40);
    }
    const auto id = "play.step_ahead_" + size.name;
    figures.report(id, median(times), "ms to the picture", atMost(2));
    figures.report(id + "_worst", worst(times), "ms to the picture", atMost(8));
    for (const auto& peer : gstreamer) {
      const auto time = medianOfPeer(*peer, size.clip);
      if (peer != gstreamer.front()) continue;
      figures.report(id + "_ratio", median(times) / time, "x of GStreamer's prerolled pair",
                     atMost(3));
    }
    for (const auto& peer : vlc) medianOfPeer(*peer, size.clip);
  }
}

// The middle item of three, with both neighbours open ahead and without. They have been open
// before: what a process takes once, and keeps, is no lane's.
void memory(Figures& figures) {
  for (const auto& size : sizes()) {
    PlayedWorkout workout(items, true, "plain", size.clip);
    workout.steps({0, 1}, pause);
    workout.playOn(2 * pause);
    OpenAhead::setAllowed(false);
    workout.playOn(2 * pause);
    malloc_trim(0);  // what only the allocator keeps is not counted
    const auto before = residentBytes();
    OpenAhead::setAllowed(true);
    workout.playOn(2 * pause);
    const auto lane = static_cast<double>(residentBytes() - before) / 2 / (1 << 20);
    figures.report("play.ahead_memory_" + size.name, lane, "MiB a lane", atMost(size.laneLimit));
  }
}

// Pictures of the same seconds of the current clip while its neighbours are opened and let go again
// and again, beside a time in which nothing is. No loop falls into either.
void cost(Figures& figures) {
  for (const auto& size : sizes()) {
    PlayedWorkout workout(items, true, "plain", size.clip);
    workout.steps({0, 1}, pause);
    std::atomic<int> pictures = 0;
    const auto count = [&](bool opensAhead) {
      OpenAhead::setAllowed(false);
      workout.player()->seek({0});
      pumpFor(pause);
      pictures = 0;
      for (int i = 0; i < 10; ++i) {
        OpenAhead::setAllowed(opensAhead && i % 2 == 0);
        pumpFor(400ms);
      }
      return pictures.load();
    };
    workout.player()->engine().setPictureHandler([&] { ++pictures; });
    const int alone = count(false);
    const int beside = count(true);
    workout.player()->engine().setPictureHandler(nullptr);
    OpenAhead::setAllowed(true);
    // A frame may fall on either side of a time's end.
    figures.report("play.ahead_cost_" + size.name, std::max(0, alone - beside),
                   "frames missed of " + std::to_string(alone), atMost(1));
  }
}

}  // namespace
}  // namespace tavrin::benchmarks

int main(int argc, char** argv) {
  using namespace tavrin::benchmarks;
  Figures figures(argc, argv);
  useMpv();
  figures.measure({"play.ahead_memory"}, memory);
  figures.measure({"play.ahead_cost"}, cost);
  figures.measure({"play.step_ahead"}, steps);
  return figures.exitStatus();
}
