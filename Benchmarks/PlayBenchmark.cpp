// How playback goes on: the next round of a loop, the release of a player, a busy host. With the
// real engine, without sound.

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Benchmarks/Figures.hpp"
#include "Benchmarks/PlayedWorkout.hpp"
#include "Tavrin/Feature/PlayerLooping.hpp"
#include "Tavrin/Foundation/Mutex.hpp"
#include "Tavrin/Foundation/NotificationCenter.hpp"
#include "Tavrin/Item/CachingPlayerItem.hpp"

namespace tavrin::benchmarks {
namespace {

using Business = VideoFeature::BusinessAction;

constexpr double frame = 1000.0 / 30;  // milliseconds

/// The times of an engine's pictures. The handler's thread adds, the main thread reads.
class PictureClock {
 public:
  void watch(AVPlayer& player) {
    player.engine().setPictureHandler([this] {
      const LockGuard lock(mutex_);
      times_.push_back(Clock::now());
    });
  }
  std::vector<Clock::time_point> times() const {
    const LockGuard lock(mutex_);
    return times_;
  }
  double longestGap() const {
    const auto all = times();
    double longest = all.size() < 2 ? std::nan("") : 0;
    for (std::size_t i = 1; i < all.size(); ++i) {
      longest = std::max(longest, milliseconds(all[i] - all[i - 1]));
    }
    return longest;
  }
  static double milliseconds(Clock::duration time) {
    return std::chrono::duration<double, std::milli>(time).count();
  }

 private:
  mutable Mutex mutex_;
  std::vector<Clock::time_point> times_ TAVRIN_GUARDED_BY(mutex_);
};

struct Rounds {
  std::vector<Clock::time_point> ends;
};

std::shared_ptr<Rounds> roundsOf(const std::shared_ptr<AVPlayerItem>& item) {
  auto rounds = std::make_shared<Rounds>();
  NotificationCenter::defaultCenter().addObserver<Rounds>(
      rounds, [](Rounds& self) { self.ends.push_back(Clock::now()); }, AVPlayerItemDidPlayToEndTime,
      item);
  return rounds;
}

std::shared_ptr<CachingPlayerItem> itemInMemory(const std::string& file) {
  return CachingPlayerItem::make(Data(contents(file)), "video/mp4", "clip.mp4");
}

// Pictures come at every frame, so the longest gap of all is the one between two rounds, unless
// something else was worse.
void loop(Figures& figures) {
  constexpr std::size_t count = 20;
  const auto item = itemInMemory(shortClip);
  const auto rounds = roundsOf(item);
  PictureClock pictures;
  const auto player = AVPlayer::make(item);
  loopVideo(player);
  pumpUntil([&] { return item->status() != AVPlayerItemStatus::unknown; });
  player->play();
  pumpUntil([&] { return !rounds->ends.empty(); });
  pictures.watch(*player);
  pumpUntil([&] { return rounds->ends.size() > count; }, 60s);
  player->engine().setPictureHandler(nullptr);
  figures.report("play.loop_gap", pictures.longestGap() / frame,
                 "frame times, the longest of 20 rounds", atMost(2));
  if (rounds->ends.size() <= count) return;
  std::vector<double> early;
  std::vector<double> late;
  for (std::size_t i = 1; i <= count; ++i) {
    const auto time = PictureClock::milliseconds(rounds->ends[i] - rounds->ends[i - 1]);
    (i <= count / 2 ? early : late).push_back(time);
  }
  figures.report("play.loop_drift", std::abs(median(late) - median(early)),
                 "ms a round, between the first ten and the last ten", atMost(5));
}

constexpr const char* exitWaiting = "--exit-while-waiting";
constexpr const char* exitOpening = "--exit-while-opening";

double timed(const std::function<void()>& action) {
  const auto start = Clock::now();
  action();
  return millisecondsSince(start);
}

std::shared_ptr<CachingPlayerItem> silentItem(testing::RangeServer& server) {
  server.serve("/silent.mp4", contents(shortClip), "silence");
  return CachingPlayerItem::make(server.url("/silent.mp4"));
}

/// A player that plays, and is opening another item ahead.
struct OpeningPlayer {
  OpeningPlayer() {
    pumpUntil([&] { return current->status() != AVPlayerItemStatus::unknown; });
    player->play();
    player->engine().expect({next->asset()});
    pumpFor(400ms);  // it waits for a calm moment
  }

  testing::RangeServer server;
  std::shared_ptr<CachingPlayerItem> current = itemInMemory(clips + "/squats.mp4");
  std::shared_ptr<CachingPlayerItem> next = silentItem(server);
  std::shared_ptr<AVPlayer> player = AVPlayer::make(current);
};

// For the parent to measure: waits for bytes, of the current item or of one that it opens ahead,
// says so, and exits.
int exitWhileWaiting(bool isAhead) {
  useMpv();
  testing::RangeServer server;
  std::optional<OpeningPlayer> opening;
  if (isAhead) opening.emplace();
  auto player = isAhead ? opening->player : AVPlayer::make(silentItem(server));
  player->play();
  pumpFor(300ms);
  std::printf("%lld\n", static_cast<long long>(Clock::now().time_since_epoch().count()));
  std::fflush(stdout);
  opening.reset();
  player.reset();
  return 0;
}

double processExit(const char* mode) {
  int ends[2];
  if (pipe(ends) != 0) std::abort();
  const auto child = fork();
  if (child == 0) {
    dup2(ends[1], STDOUT_FILENO);
    execl("/proc/self/exe", "PlayBenchmark", mode, nullptr);
    _exit(127);
  }
  close(ends[1]);
  char text[64] = {};
  const auto got = read(ends[0], text, sizeof text - 1);
  int status = 0;
  waitpid(child, &status, 0);
  const auto end = Clock::now();
  close(ends[0]);
  if (got <= 0 || status != 0) return std::nan("");
  return PictureClock::milliseconds(end - Clock::time_point(Clock::duration(std::atoll(text))));
}

void release(Figures& figures) {
  double slowest = 0;
  for (int i = 0; i < samples; ++i) {
    testing::RangeServer server;
    auto player = AVPlayer::make(silentItem(server));
    player->play();
    pumpFor(50ms);
    slowest = std::max(slowest, timed([&] { player->replaceCurrentItem(nullptr); }));
    player->replaceCurrentItem(silentItem(server));
    pumpFor(50ms);
    slowest = std::max(slowest, timed([&] { player.reset(); }));
  }
  figures.report("play.release_waiting", slowest, "ms, replaced or released, the worst of 20",
                 atMost(100));

  slowest = 0;
  for (int i = 0; i < 5; ++i) {
    PlayedWorkout workout(2, false, "silence");
    workout.sendStep(0);
    pumpUntil([&] { return workout.player() != nullptr; });
    const std::weak_ptr<AVPlayer> player = workout.player();
    pumpFor(50ms);
    slowest = std::max(slowest, timed([&] {
                         workout.send(Business::playerDeinit());
                         pumpUntil([&] { return player.expired(); });
                       }));
  }
  figures.report("play.release_deinit", slowest, "ms, the worst of 5", atMost(100));

  slowest = 0;
  for (int i = 0; i < 5; ++i) {
    OpeningPlayer opening;
    slowest = std::max(slowest, timed([&] { opening.player.reset(); }));
  }
  figures.report("play.release_opening", slowest, "ms, while opening ahead, the worst of 5",
                 atMost(100));

  std::vector<double> exits;
  for (int i = 0; i < 5; ++i) exits.push_back(processExit(exitWaiting));
  figures.report("play.release_exit", worst(exits), "ms, the worst of 5", atMost(100));
  exits.clear();
  for (int i = 0; i < 5; ++i) exits.push_back(processExit(exitOpening));
  figures.report("play.release_exit_opening", worst(exits), "ms, the worst of 5", atMost(100));
}

// A host that keeps the main queue busy for 200 ms at a time.
void busyMain(Figures& figures) {
  const auto item = itemInMemory(clips + "/squats.mp4");
  PictureClock pictures;
  const auto player = AVPlayer::make(item);
  pumpUntil([&] { return item->status() != AVPlayerItemStatus::unknown; });
  player->play();
  pumpFor(500ms);
  pictures.watch(*player);
  const auto start = Clock::now();
  while (Clock::now() - start < 5s) {
    const auto busyUntil = Clock::now() + 200ms;
    while (Clock::now() < busyUntil) {
    }
    DispatchQueue::main().poll();
  }
  player->engine().setPictureHandler(nullptr);
  figures.report("play.busy_main_gap", pictures.longestGap() / frame,
                 "frame times, the longest of 5 s", atMost(2));
}

}  // namespace
}  // namespace tavrin::benchmarks

int main(int argc, char** argv) {
  using namespace tavrin::benchmarks;
  if (argc == 2 && std::strcmp(argv[1], exitWaiting) == 0) return exitWhileWaiting(false);
  if (argc == 2 && std::strcmp(argv[1], exitOpening) == 0) return exitWhileWaiting(true);
  Figures figures(argc, argv);
  useMpv();
  figures.measure({"play.loop_gap", "play.loop_drift"}, loop);
  figures.measure(
      {"play.release_waiting", "play.release_deinit", "play.release_opening", "play.release_exit"},
      release);
  figures.measure({"play.busy_main_gap"}, busyMain);
  return figures.exitStatus();
}
