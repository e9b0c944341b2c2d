// Twenty players at once do for a while what hosts make them do, at random, over a server that
// misbehaves and a cache directory in which files appear and vanish. In the end the process must
// hold as many threads and descriptors, and within 5 % as much memory, as after the first minute.
//
//   Soak [SECONDS] [SEED]    600 seconds and a seed of its own choice, without arguments
//
// At most three players at a time play with libmpv, without sound, as many as two cores bear beside
// the rest; the others have the scripted engine, which reads nothing. All download, through the
// live cache. Each count is taken in the same state: all players released, all connections closed,
// the cache directory as it is. glibc's allocator is kept from hoarding (SoakFigures.hpp).
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <random>

#include "Load/MainLoop.hpp"
#include "Load/SoakEngines.hpp"
#include "Load/SoakFigures.hpp"
#include "Load/SoakPlayer.hpp"
#include "Load/SoakWorld.hpp"
#include "Tavrin/Item/CachingPlayerItem.hpp"

namespace {

using namespace tavrin;
using namespace tavrin::load;
using namespace std::chrono_literals;

constexpr int players = 20;
constexpr double tolerance = 0.05;
constexpr auto patience = 30s;

class Soak {
 public:
  explicit Soak(std::uint64_t seed) : dice_(seed), world_(dice_) {
    MediaEngine::setFactory([this](auto listener) { return engines_.make(std::move(listener)); });
    for (int i = 0; i < players; ++i) players_.emplace_back(dice_, world_);
  }
  ~Soak() { MediaEngine::setFactory(nullptr); }
  Soak(const Soak&) = delete;
  Soak& operator=(const Soak&) = delete;

  void runFor(std::chrono::nanoseconds time) {
    const auto end = Clock::now() + time;
    while (Clock::now() < end) {
      loop_.call([&] { act(); });
      loop_.pumpFor(std::chrono::milliseconds(dice_.below(20)));
    }
  }

  /// Releases all players, waits for what they leave behind, and counts.
  SoakFigures rest() {
    for (auto& player : players_) {
      isAtRest_ &= loop_.pumpUntil([&] { return player.canEnd(); }, patience);
      loop_.call([&] { player.end(); });
    }
    isAtRest_ &= loop_.pumpUntil([&] { return engines_.isIdle(); }, patience);
    world_.endServer();
    isAtRest_ &= closeIdleConnections();
    world_.restoreDirectory();
    for (const auto& file : world_.wrongFiles()) wrongFiles_.push_back(file);
    const auto figures = SoakFigures::take();
    world_.startServer();
    return figures;
  }

  /// Whether each rest was one.
  bool isAtRest() const { return isAtRest_; }
  const std::vector<std::string>& wrongFiles() const { return wrongFiles_; }

  void print(std::FILE* to) const {
    std::fprintf(
        to,
        "%zu actions of hosts, %zu interferences, %zu requests; %zu players with libmpv, %zu"
        " with the scripted engine; main queue kept for %.0f ms at most\n",
        actions_, world_.countInterferences(), world_.countRequests(), engines_.countReal(),
        engines_.countScripted(), loop_.longestBlockMilliseconds());
  }

 private:
  void act() {
    if (dice_.hits(25)) world_.interfere();
    if (dice_.hits(10)) engines_.report(dice_);
    players_[static_cast<std::size_t>(dice_.below(players))].act();
    ++actions_;
  }

  // libcurl keeps the connections of transfers that have ended, and closes those that are dead when
  // the next transfer begins. That transfer's own connection is closed by the server.
  bool closeIdleConnections() {
    testing::RangeServer server;
    server.serve("/rest.mp4", "rest", "until close");
    constexpr int listener = 1;
    const auto isDone = [&] {
      const auto item = CachingPlayerItem::make(server.url("/rest.mp4"));
      const auto before = server.requests().size();
      item->download();
      loop_.pumpUntil([&] { return server.requests().size() > before; }, patience);
      return loop_.pumpUntil([] { return countInternetSockets() == listener; }, 200ms);
    };
    return loop_.pumpUntil(isDone, patience);
  }

  MainLoop loop_;
  Dice dice_;
  SoakWorld world_;
  SoakEngines engines_;
  std::deque<SoakPlayer> players_;
  std::size_t actions_ = 0;
  bool isAtRest_ = true;
  std::vector<std::string> wrongFiles_;
};

void printTable(std::FILE* to, const SoakFigures (&figures)[3], double first) {
  const auto row = [&](const char* name, auto field) {
    std::fprintf(
        to, "| %s | %lld | %lld | %lld |\n", name, static_cast<long long>(figures[0].*field),
        static_cast<long long>(figures[1].*field), static_cast<long long>(figures[2].*field));
  };
  std::fprintf(to, "\n| at rest | start | after %.0f s | end |\n| --- | ---: | ---: | ---: |\n",
               first);
  row("threads", &SoakFigures::threads);
  row("descriptors", &SoakFigures::descriptors);
  row("bytes resident (RssAnon, trimmed)", &SoakFigures::bytes);
  row("bytes allocated (mallinfo2, for information)", &SoakFigures::allocated);
}

bool isSame(const SoakFigures& early, const SoakFigures& late) {
  const auto moved = static_cast<double>(late.bytes - early.bytes);
  return early.threads == late.threads && early.descriptors == late.descriptors &&
         std::abs(moved) <= tolerance * static_cast<double>(early.bytes);
}

// Standard output for the report alone: the library prints a line for each download.
std::FILE* takeStandardOutput() {
  std::FILE* report = ::fdopen(::dup(STDOUT_FILENO), "w");
  if (report == nullptr || std::freopen("/dev/null", "w", stdout) == nullptr) std::abort();
  return report;
}

}  // namespace

int main(int argc, char** argv) {
  const double seconds = argc > 1 ? std::atof(argv[1]) : 600;
  const std::uint64_t seed =
      argc > 2 ? std::strtoull(argv[2], nullptr, 10) : std::random_device()();
  if (!(seconds >= 1 && seconds <= 86'400)) {
    std::fputs("Soak [SECONDS, 1 to 86400] [SEED]\n", stderr);
    return 2;
  }
  startWithFrugalAllocator(argv);
  std::FILE* report = takeStandardOutput();
  const double first = std::min(60.0, seconds / 10);
  std::fprintf(report,
               "soak of %.0f s with seed %llu: %d players, %zu of them at most with libmpv without"
               " sound, the others with the scripted engine\n",
               seconds, static_cast<unsigned long long>(seed), players, SoakEngines::mostReal);
  std::fflush(report);

  Soak soak(seed);
  SoakFigures figures[3];
  soak.runFor(2s);  // so that the threads that all players share are there
  figures[0] = soak.rest();
  soak.runFor(
      std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::duration<double>(first)));
  figures[1] = soak.rest();
  soak.runFor(std::chrono::duration_cast<std::chrono::nanoseconds>(
      std::chrono::duration<double>(seconds - first)));
  figures[2] = soak.rest();

  soak.print(report);
  printTable(report, figures, first);
  for (const auto& file : soak.wrongFiles()) {
    std::fprintf(report, "a wrong file has been kept: %s\n", file.c_str());
  }
  if (!soak.isAtRest()) std::fputs("something went on although all players had gone\n", report);
  const bool isGood =
      soak.isAtRest() && soak.wrongFiles().empty() && isSame(figures[1], figures[2]);
  std::fprintf(report, "\n%s\n", isGood ? "the soak holds" : "THE SOAK DOES NOT HOLD");
  std::fclose(report);
  return isGood ? 0 : 1;
}
