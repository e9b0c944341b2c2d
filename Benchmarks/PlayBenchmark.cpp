// What a person waits for: the picture of the next item, the next round of a loop, the release of a
// player. All through the store and the real engine, without sound; libmpv alone is the peer.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Architecture/Store.hpp"
#include "Benchmarks/Figures.hpp"
#include "Benchmarks/Peers/BareMpv.hpp"
#include "Benchmarks/ProcessFigures.hpp"
#include "Benchmarks/Timing.hpp"
#include "Platform/Foundation/Mutex.hpp"
#include "Platform/Foundation/NotificationCenter.hpp"
#include "Platform/Media/AVPlayer.hpp"
#include "Platform/Mpv/MpvEngine.hpp"
#include "Tavrin/CachingPlayerItem.hpp"
#include "Tavrin/Extensions/Extension+AVPlayer.hpp"
#include "Tavrin/VideoFeature.hpp"
#include "Tests/Support/RangeServer.hpp"
#include "Tests/Support/TemporaryDirectory.hpp"

namespace {

using namespace tavrin;
using namespace tavrin::benchmarks;
using namespace std::chrono_literals;
using Business = VideoFeature::BusinessAction;
namespace fs = std::filesystem;

constexpr int width = 640;
constexpr int height = 360;
constexpr int samples = 20;
constexpr double frame = 1000.0 / 30;  // milliseconds

const std::string clips = TAVRIN_SAMPLE_CLIPS;
const std::string shortClip = TAVRIN_TEST_CLIPS "/red.mp4";  // one second, 30 frames

std::string contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) std::abort();
  return std::string(std::istreambuf_iterator<char>(file), {});
}

bool pumpUntil(const std::function<bool()>& done, std::chrono::nanoseconds timeout = 10s) {
  return DispatchQueue::main().runUntil(done, timeout);
}

void pumpFor(std::chrono::nanoseconds time) {
  pumpUntil([] { return false; }, time);
}

void useMpv() {
  MediaEngine::setFactory([](std::weak_ptr<MediaEngine::Listener> listener) {
    MpvEngineOptions options;
    options.sound = MpvEngineOptions::Sound::none;
    return makeMpvEngine(std::move(listener), options);
  });
}

/// A workout of videos with different names, all the same clip, in a cache directory of its own.
class Workout {
 public:
  Workout(int count, bool isCached, std::string_view behaviour = "plain") {
    setenv("XDG_CACHE_HOME", cache_.path().c_str(), 1);
    fs::create_directory(cache_.path() / "VideoCache");
    const auto bytes = contents(clips + "/squats.mp4");
    std::vector<std::optional<Media>> media;
    for (int i = 0; i < count; ++i) {
      const auto name = std::to_string(i) + ".mp4";
      server.serve("/" + name, bytes, behaviour);
      if (isCached) std::ofstream(cache_.path() / "VideoCache" / name, std::ios::binary) << bytes;
      media.emplace_back(Media{UUID::random(), server.url("/" + name), {"video/mp4"}, true});
    }
    store_.emplace(VideoFeatureState(std::move(media)), VideoFeature());
    send(Business::prepareMedia());
    pumpUntil([&] { return state().managerId().has_value(); });
  }
  ~Workout() {
    send(Business::playerDeinit());
    store_.reset();
  }

  void send(Business action) { store_->send(VideoFeatureAction::business(std::move(action))); }
  void sendStep(std::int64_t index) {
    send(Business::setMedia(SetMediaValues(state().media()[index].id, false, true)));
  }
  const VideoFeatureState& state() const { return store_->state(); }
  std::shared_ptr<AVPlayer> player() const { return state().player(); }

  /// Draws, as a host does, and returns the item that the picture is of.
  std::shared_ptr<AVPlayerItem> draw() {
    const auto current = player();
    if (!current) return nullptr;
    const auto load = current->engine().draw({pixels_.data(), width, height, width * 4});
    return load ? current->item(*load) : nullptr;
  }

  /// Steps, and returns the milliseconds until a host has drawn the first picture of the new item.
  std::optional<double> step(std::int64_t index) {
    const auto old = player() ? player()->currentItem() : nullptr;
    watchPictures();
    const auto start = Clock::now();
    sendStep(index);
    const bool isShown = pumpUntil([&] {
      watchPictures();
      if (!std::exchange(*hasNewPicture_, false)) return false;
      const auto shown = draw();
      return shown && shown != old;
    });
    return isShown ? std::optional(millisecondsSince(start)) : std::nullopt;
  }

  tavrin::testing::RangeServer server;

 private:
  // A host draws when there is a new picture, and only then.
  void watchPictures() {
    if (player() == watched_) return;
    watched_ = player();
    *hasNewPicture_ = true;  // one may have come before
    watched_->engine().setPictureHandler(
        [flag = hasNewPicture_] { DispatchQueue::main().async([flag] { *flag = true; }); });
  }

  tavrin::testing::TemporaryDirectory cache_;
  std::optional<Store<VideoFeature>> store_;
  std::shared_ptr<AVPlayer> watched_;
  std::shared_ptr<bool> hasNewPicture_ = std::make_shared<bool>(false);  // main queue only
  std::vector<std::byte> pixels_ = std::vector<std::byte>(std::size_t{width} * height * 4);
};

double bareOpening() {
  BareMpv peer(Data(contents(clips + "/squats.mp4")));
  peer.open();
  std::vector<double> times;
  for (int i = 0; i < samples; ++i) times.push_back(peer.open().value_or(1e9));
  return median(times);
}

// Each step is taken while the item before it plays. The first two make the player and its parts.
double stepping(Workout& workout, std::int64_t count) {
  std::vector<double> times;
  for (std::int64_t i = 0; i < count; ++i) {
    const auto time = workout.step(i);
    if (!time) return std::numeric_limits<double>::quiet_NaN();
    if (i >= 2) times.push_back(*time);
    pumpFor(300ms);
  }
  return median(times);
}

void steps(Figures& figures) {
  const double bare = bareOpening();
  Workout prepared(samples + 2, true);
  figures.report("play.step_prepared", stepping(prepared, samples + 2) - bare,
                 "ms more than libmpv alone", atMost(5));
  Workout downloading(samples + 2, false, "stall");
  figures.report("play.step_downloading", stepping(downloading, samples + 2) - bare,
                 "ms more than libmpv alone", atMost(15));
  figures.report("play.bare_opening", bare, "ms", atMost(1000));
}

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
    double longest = all.size() < 2 ? std::numeric_limits<double>::quiet_NaN() : 0;
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
  pumpUntil([&] { return item->status() != AVPlayerItem::Status::unknown; });
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

// Ten steps a second for half a minute, in an order that jumps about. The allocator needs the first
// 20 s to give each of libmpv's threads its share.
void rapidSteps(Figures& figures) {
  constexpr std::int64_t items = 5;
  Workout workout(items, true);
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
    pumpFor(100ms - (Clock::now() - start));
  }
  figures.report("play.rapid_steps_wrong", wrong, "of 300", atMost(0));
  figures.report("play.rapid_steps_slowest", slowest, "ms to the picture", atMost(100));
  const auto middle = memory.begin() + 50;
  figures.report("play.rapid_steps_growth",
                 median({middle, memory.end()}) - median({memory.begin(), middle}),
                 "MiB over the last 100 steps", atMost(12));
}

double timed(const std::function<void()>& action) {
  const auto start = Clock::now();
  action();
  return millisecondsSince(start);
}

std::shared_ptr<CachingPlayerItem> silentItem(tavrin::testing::RangeServer& server) {
  server.serve("/silent.mp4", contents(shortClip), "silence");
  return CachingPlayerItem::make(server.url("/silent.mp4"));
}

// For the parent to measure: waits for bytes, says so, and exits.
int exitWhileWaiting() {
  useMpv();
  tavrin::testing::RangeServer server;
  auto player = AVPlayer::make(silentItem(server));
  player->play();
  pumpFor(300ms);
  std::printf("%lld\n", static_cast<long long>(Clock::now().time_since_epoch().count()));
  std::fflush(stdout);
  player.reset();
  return 0;
}

double processExit() {
  int ends[2];
  if (pipe(ends) != 0) std::abort();
  const auto child = fork();
  if (child == 0) {
    dup2(ends[1], STDOUT_FILENO);
    execl("/proc/self/exe", "PlayBenchmark", "--exit-while-waiting", nullptr);
    _exit(127);
  }
  close(ends[1]);
  char text[64] = {};
  const auto got = read(ends[0], text, sizeof text - 1);
  int status = 0;
  waitpid(child, &status, 0);
  const auto end = Clock::now();
  close(ends[0]);
  if (got <= 0 || status != 0) return std::numeric_limits<double>::quiet_NaN();
  return PictureClock::milliseconds(end - Clock::time_point(Clock::duration(std::atoll(text))));
}

void release(Figures& figures) {
  double worst = 0;
  for (int i = 0; i < samples; ++i) {
    tavrin::testing::RangeServer server;
    auto player = AVPlayer::make(silentItem(server));
    player->play();
    pumpFor(50ms);
    worst = std::max(worst, timed([&] { player->replaceCurrentItem(nullptr); }));
    player->replaceCurrentItem(silentItem(server));
    pumpFor(50ms);
    worst = std::max(worst, timed([&] { player.reset(); }));
  }
  figures.report("play.release_waiting", worst, "ms, replaced or released, the worst of 20",
                 atMost(100));

  worst = 0;
  for (int i = 0; i < 5; ++i) {
    Workout workout(2, false, "silence");
    workout.sendStep(0);
    pumpUntil([&] { return workout.player() != nullptr; });
    const std::weak_ptr<AVPlayer> player = workout.player();
    pumpFor(50ms);
    worst = std::max(worst, timed([&] {
                       workout.send(Business::playerDeinit());
                       pumpUntil([&] { return player.expired(); });
                     }));
  }
  figures.report("play.release_deinit", worst, "ms, the worst of 5", atMost(100));

  std::vector<double> exits;
  for (int i = 0; i < 5; ++i) exits.push_back(processExit());
  figures.report("play.release_exit", *std::ranges::max_element(exits), "ms, the worst of 5",
                 atMost(100));
}

// A host that keeps the main queue busy for 200 ms at a time.
void busyMain(Figures& figures) {
  const auto item = itemInMemory(clips + "/squats.mp4");
  PictureClock pictures;
  const auto player = AVPlayer::make(item);
  pumpUntil([&] { return item->status() != AVPlayerItem::Status::unknown; });
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

int main(int argc, char** argv) {
  if (argc == 2 && std::strcmp(argv[1], "--exit-while-waiting") == 0) return exitWhileWaiting();
  Figures figures(argc, argv);
  useMpv();
  struct Group {
    std::vector<std::string> ids;
    void (*measure)(Figures&);
  };
  const Group groups[] = {
      {{"play.step_prepared", "play.step_downloading", "play.bare_opening"}, steps},
      {{"play.loop_gap", "play.loop_drift"}, loop},
      {{"play.rapid_steps_wrong", "play.rapid_steps_slowest", "play.rapid_steps_growth"},
       rapidSteps},
      {{"play.release_waiting", "play.release_deinit", "play.release_exit"}, release},
      {{"play.busy_main_gap"}, busyMain}};
  for (const auto& group : groups) {
    const auto isWanted = [&](const auto& id) { return figures.isWanted(id); };
    if (std::ranges::any_of(group.ids, isWanted)) group.measure(figures);
  }
  return figures.exitStatus();
}
