// Walks every behaviour of the scripted server and every fault of the disk through a whole workout:
// three videos, the faulty one in the middle, with the real engine and without sound. Prints what a
// user would have seen, and what the cache held afterwards.
//
//   FaultCampaign [TEXT]    only the faults whose names contain the text
//
// Each workout runs in a process of its own, so that a crash or a hang is a result like any other.
// As root, with a mount namespace, the disk's faults are real mounts. Exits 1 when a neighbour of
// the faulty video did not play, when a wrong file was kept, when the main queue was blocked for
// more than 250 ms, or when a process crashed, hung or could not be given its fault.
#include <poll.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <sstream>

#include "Load/Clips.hpp"
#include "Load/FaultCampaignCache.hpp"
#include "Load/FaultCampaignFault.hpp"
#include "Load/FaultCampaignViewer.hpp"
#include "Tests/Support/RangeServer.hpp"
#include "Tests/Support/TemporaryDirectory.hpp"

namespace {

using namespace tavrin;
using namespace tavrin::load;
namespace fs = std::filesystem;

constexpr double longestBlock = 250;  // milliseconds
constexpr std::chrono::seconds longestWorkout(90);

/// What the player's process found out. One line for each field.
struct Sighting {
  std::string faulty;
  std::string neighbours;
  double block = 0;  // milliseconds
};

std::string oneLine(std::string text) {
  std::ranges::replace(text, '\n', ' ');
  std::ranges::replace(text, '|', '/');
  return text;
}

// In the player's process. The first and the last video are good.
Sighting watchWorkout(const Fault& fault, const fs::path& cache) {
  if (fault.begin) fault.begin(cache);
  MediaEngine::setFactory(makeSilentMpv);
  testing::RangeServer server;
  server.serve("/" + firstName, testClip("red.mp4"));
  server.serve("/" + faultyName, testClip("long.mp4"), fault.behaviour);
  server.serve("/" + lastName, testClip("blue.mp4"));
  std::vector<Media> workout;
  for (const auto& name : {firstName, faultyName, lastName}) {
    workout.push_back({UUID::random(), server.url("/" + name), {"video/mp4"}});
  }
  Viewer viewer(workout);
  const auto first = viewer.show(0);
  if (fault.strike) fault.strike(cache);
  auto faulty = viewer.show(1);
  const bool isHeldBack = viewer.isWaiting();
  server.releaseAll();
  if (isHeldBack) faulty += "; then " + viewer.watchOn();
  const auto last = viewer.show(2);
  const bool bothPlayed = first == Viewer::wholeVideo && last == Viewer::wholeVideo;
  return {oneLine(faulty), bothPlayed ? "both" : oneLine("first: " + first + ", last: " + last),
          viewer.longestBlockMilliseconds()};
}

[[noreturn]] void runPlayer(const Fault& fault, const fs::path& cache, int report) {
  static_cast<void>(std::freopen("/dev/null", "w", stdout));  // the library's own lines
  const auto seen = watchWorkout(fault, cache);
  const auto text = seen.faulty + "\n" + seen.neighbours + "\n" + std::to_string(seen.block) + "\n";
  static_cast<void>(!::write(report, text.data(), text.size()));
  std::exit(0);  // with its exit handlers: a hang in them counts
}

// Everything until the other end is closed; what has come until then when the time is up.
std::string readAll(int descriptor, Clock::time_point deadline) {
  std::string text;
  char buffer[4096];
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    pollfd polled{descriptor, POLLIN, 0};
    if (left.count() <= 0 || ::poll(&polled, 1, static_cast<int>(left.count())) <= 0) return text;
    const auto count = ::read(descriptor, buffer, sizeof buffer);
    if (count <= 0) return text;
    text.append(buffer, static_cast<std::size_t>(count));
  }
}

/// How the player's process ended; empty when it ended well.
std::string endOf(pid_t process, Clock::time_point deadline) {
  const bool isLate = Clock::now() >= deadline;
  if (isLate) ::kill(process, SIGKILL);
  int status = 0;
  ::waitpid(process, &status, 0);
  if (isLate) return "HUNG";
  if (WIFSIGNALED(status)) return "CRASHED, signal " + std::to_string(WTERMSIG(status));
  return status == 0 ? "" : "ENDED with " + std::to_string(WEXITSTATUS(status));
}

struct Observed {
  Sighting seen;
  std::string end;
};

Observed observe(const Fault& fault, const fs::path& cache) {
  int ends[2];
  if (::pipe(ends) != 0) std::abort();
  std::fflush(stdout);
  const auto process = ::fork();
  if (process == 0) {
    ::close(ends[0]);
    runPlayer(fault, cache, ends[1]);
  }
  ::close(ends[1]);
  const auto deadline = Clock::now() + longestWorkout;
  std::istringstream report(readAll(ends[0], deadline));
  ::close(ends[0]);
  Observed observed;
  observed.end = endOf(process, deadline);
  std::getline(report, observed.seen.faulty);
  std::getline(report, observed.seen.neighbours);
  report >> observed.seen.block;
  return observed;
}

std::string verdict(const Observed& observed, const CacheEntry& entry, int leftovers) {
  if (!observed.end.empty()) return observed.end;
  if (observed.seen.neighbours != "both") return "NEIGHBOUR LOST";
  if (entry.isPoisoned || leftovers > 0) return "WRONG FILE KEPT";
  if (observed.seen.block > longestBlock) return "MAIN QUEUE BLOCKED";
  return "good";
}

/// Runs one workout and prints its row. Returns whether all went as it should.
bool tryFault(const Fault& fault) {
  const testing::TemporaryDirectory home;
  ::setenv("XDG_CACHE_HOME", home.path().c_str(), 1);
  const auto cache = home.path() / "VideoCache";
  fs::create_directory(cache);
  if (fault.prepare && !fault.prepare(cache)) {
    std::printf("| %s | | | | | NOT POSSIBLE HERE |\n", fault.name.c_str());
    return false;
  }
  const auto before = PathLook::at(cache / faultyName);
  const auto observed = observe(fault, cache);
  const auto after = PathLook::at(cache / faultyName);
  const auto entry = judgeEntry(before, after, testClip("long.mp4"), fault.behaviour);
  const auto leftovers = countTemporaryFiles(cache);
  if (fault.mend) fault.mend(cache);
  const auto result = verdict(observed, entry, leftovers);
  std::printf("| %s | %s | %s | %s | %.0f ms | %s |\n", fault.name.c_str(),
              observed.seen.faulty.c_str(), observed.seen.neighbours.c_str(),
              entry.description.c_str(), observed.seen.block, result.c_str());
  std::fflush(stdout);
  return result == "good";
}

}  // namespace

int main(int argc, char** argv) {
  const std::string wanted = argc > 1 ? argv[1] : "";
  // Mounts of the campaign are seen by no other process.
  if (::unshare(CLONE_NEWNS) == 0) ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr);
  std::puts(
      "| fault | what the user saw of the faulty video | neighbours played | its cache entry |"
      " main queue kept for | verdict |\n| --- | --- | --- | --- | --- | --- |");
  int bad = 0;
  int all = 0;
  for (const auto& fault : allFaults()) {
    if (fault.name.find(wanted) == std::string::npos) continue;
    ++all;
    if (!tryFault(fault)) ++bad;
  }
  std::printf("\n%d faults, %d of them with a bad end\n", all, bad);
  return bad == 0 && all > 0 ? 0 : 1;
}
