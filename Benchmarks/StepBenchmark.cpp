// What a person waits for at a step: the picture of the next item. Through the store and the real
// engine, without sound; libmpv alone is the peer.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "Benchmarks/Figures.hpp"
#include "Benchmarks/Peers/BareMpv.hpp"
#include "Benchmarks/PlayedWorkout.hpp"
#include "Benchmarks/ProcessFigures.hpp"

namespace tavrin::benchmarks {
namespace {

void open(BareMpv& peer, std::vector<double>& times) {
  for (int i = 0; i < samples; ++i) times.push_back(peer.open().value_or(std::nan("")));
}

// Each step is taken while the item before it plays. The first two make the player and its parts.
double stepping(PlayedWorkout& workout, std::int64_t count) {
  std::vector<double> times;
  for (std::int64_t i = 0; i < count; ++i) {
    const auto time = workout.step(i);
    if (!time) return std::nan("");
    if (i >= 2) times.push_back(*time);
    workout.playOn(300ms);
  }
  return median(times);
}

// The peer before and after, so that a machine that grows slower meets both.
void steps(Figures& figures) {
  std::vector<double> openings;
  BareMpv peer(Data(contents(clips + "/squats.mp4")));
  peer.open();
  open(peer, openings);
  PlayedWorkout prepared(samples + 2, true);
  const double fromMemory = stepping(prepared, samples + 2);
  PlayedWorkout downloading(samples + 2, false, "stall");
  const double fromNetwork = stepping(downloading, samples + 2);
  open(peer, openings);
  const double alone = median(openings);
  std::fprintf(stderr, "libmpv alone opens the clip in %.1f ms\n", alone);
  const std::string unit = "ms more than libmpv alone";
  figures.report("play.step_prepared", fromMemory - alone, unit, atMost(5));
  figures.report("play.step_downloading", fromNetwork - alone, unit, atMost(15));
}

// Ten steps a second for half a minute, in an order that jumps about. The allocator needs the first
// 20 s to give each of libmpv's threads its share.
void rapidSteps(Figures& figures) {
  constexpr std::int64_t items = 5;
  PlayedWorkout workout(items, true);
  int wrong = 0;
  double slowest = 0;
  std::vector<double> memory;  // MiB
  for (int i = 0; i < 300; ++i) {
    if (i >= 200) memory.push_back(static_cast<double>(residentBytes()) / (1 << 20));
    const auto start = Clock::now();
    const auto index = (i * 3) % items;
    const auto time = workout.step(index);
    const auto& current = workout.state().currentMedia();
    if (!time || !current || current->id != workout.state().media()[index].id) ++wrong;
    slowest = std::max(slowest, time.value_or(1e9));
    workout.playOn(100ms - (Clock::now() - start));
  }
  figures.report("play.rapid_steps_wrong", wrong, "of 300", atMost(0));
  figures.report("play.rapid_steps_slowest", slowest, "ms to the picture", atMost(100));
  const auto middle = memory.begin() + 50;
  figures.report("play.rapid_steps_growth",
                 median({middle, memory.end()}) - median({memory.begin(), middle}),
                 "MiB over the last 100 steps", atMost(12));
}

}  // namespace
}  // namespace tavrin::benchmarks

int main(int argc, char** argv) {
  using namespace tavrin::benchmarks;
  Figures figures(argc, argv);
  useMpv();
  figures.measure({"play.step_prepared", "play.step_downloading"}, steps);
  figures.measure({"play.rapid_steps_wrong", "play.rapid_steps_slowest", "play.rapid_steps_growth"},
                  rapidSteps);
  return figures.exitStatus();
}
