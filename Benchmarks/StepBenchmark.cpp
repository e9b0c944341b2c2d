// What a person waits for at a step: the picture of the next item. Through the store and the real
// engine, without sound; libmpv alone is the peer.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <string>
#include <vector>

#include "Benchmarks/Figures.hpp"
#include "Benchmarks/Peers/BareMpv.hpp"
#include "Benchmarks/PlayedWorkout.hpp"
#include "Benchmarks/ProcessFigures.hpp"
#include "Tavrin/Media/OpenAhead.hpp"

namespace tavrin::benchmarks {
namespace {

void open(BareMpv& peer, std::vector<double>& times) {
  for (int i = 0; i < samples; ++i) times.push_back(peer.open().value_or(std::nan("")));
}

// The first two steps make the player and its parts.
double stepping(PlayedWorkout& workout) {
  std::vector<std::int64_t> forth(samples + 2);
  std::iota(forth.begin(), forth.end(), 0);
  const auto times = workout.steps(forth, 300ms);
  return median({times.begin() + 2, times.end()});
}

// The peer before and after, so that a machine that grows slower meets both.
void steps(Figures& figures) {
  std::vector<double> openings;
  BareMpv peer(Data(contents(clips + "/squats.mp4")));
  peer.open();
  open(peer, openings);
  PlayedWorkout prepared(samples + 2, true);
  const double fromMemory = stepping(prepared);
  PlayedWorkout downloading(samples + 2, false, "stall");
  const double fromNetwork = stepping(downloading);
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

// A clip that a box without a meaning brings to a size. Its bytes are on the disk, not holes.
std::filesystem::path grownClip(const CacheDirectory& directory, std::uint32_t size) {
  auto bytes = contents(clips + "/squats.mp4");
  const auto rest = static_cast<std::uint32_t>(size - bytes.size());
  for (const int shift : {24, 16, 8, 0}) bytes += static_cast<char>(rest >> shift & 0xFF);
  bytes += "free";
  const auto file = directory.root() / (std::to_string(size) + ".mp4");
  std::ofstream out(file, std::ios::binary);
  out << bytes;
  const std::string block(1 << 20, 'f');
  for (auto left = size - bytes.size(); left > 0;) {
    const auto count = std::min(left, block.size());
    out.write(block.data(), static_cast<std::streamsize>(count));
    left -= count;
  }
  if (!out.flush()) std::abort();
  return file;
}

enum class Pages { warm, cold };

// From the step to a short clip, from another one, to its picture; the grown clip comes next.
void stepsBefore(const std::filesystem::path& grown, Pages pages, std::vector<double>& times) {
  constexpr std::int64_t measured = 5;
  const CacheDirectory sources;
  const auto shorter = sources.root() / "short.mp4";
  std::filesystem::copy_file(clips + "/squats.mp4", shorter);
  std::vector<std::filesystem::path> files{shorter};
  for (std::int64_t i = 0; i <= measured; ++i) files.insert(files.end(), {shorter, grown, shorter});
  PlayedWorkout workout(files);
  workout.steps({0, 1, 2, 3}, 300ms);
  for (std::int64_t i = 4; i < std::ssize(files); i += 3) {
    if (pages == Pages::cold) workout.cache.forgetPages();
    times.push_back(workout.step(i).value_or(std::nan("")));
    workout.playOn(300ms);
    workout.steps({i + 1, i + 2}, 300ms);
  }
}

// Without anything open ahead, so that a step waits for all that it does itself.
void stepsBySize(Figures& figures) {
  const CacheDirectory directory;
  const auto small = grownClip(directory, 5 << 20);
  const auto large = grownClip(directory, 1 << 30);
  OpenAhead::setAllowed(false);
  for (const auto pages : {Pages::warm, Pages::cold}) {
    std::vector<double> beforeSmall;
    std::vector<double> beforeLarge;
    for (int round = 0; round < 4; ++round) {
      stepsBefore(small, pages, beforeSmall);
      stepsBefore(large, pages, beforeLarge);
    }
    const std::string cold = pages == Pages::cold ? "_cold" : "";
    std::fprintf(stderr, "before 5 MiB %.1f ms, before 1 GiB %.1f ms%s\n", median(beforeSmall),
                 median(beforeLarge), pages == Pages::cold ? ", from the disk" : "");
    figures.report("effect.step_by_size" + cold,
                   std::abs(median(beforeLarge) - median(beforeSmall)),
                   "ms between neighbours of 5 MiB and 1 GiB", atMost(2));
  }
  OpenAhead::setAllowed(true);
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
  figures.measure({"effect.step_by_size", "effect.step_by_size_cold"}, stepsBySize);
  return figures.exitStatus();
}
