// Walks what a server, a disk, a network, a system and a host can do wrong through a whole workout:
// three videos, the faulty one in the middle, with the real engine and without sound. Prints what a
// user would have seen, what the cache held afterwards, how long the main queue, the release and
// the exit took, and whether all played in the next run, without the fault.
//
//   FaultCampaign [TEXT]    only the faults whose names contain the text
//
// Each workout runs in a process of its own, so that a crash or a hang is a result like any other.
// Mounts, networks and ordinary users of its own want root. Exits 1 when a verdict is not "good".
#include <sched.h>
#include <sys/mount.h>

#include <algorithm>
#include <cstdio>
#include <sstream>

#include "Load/Clips.hpp"
#include "Load/FaultCampaignCache.hpp"
#include "Load/FaultCampaignFault.hpp"
#include "Load/FaultCampaignProcess.hpp"
#include "Load/FaultCampaignViewer.hpp"
#include "Tavrin/Foundation/PrintableText.hpp"
#include "Tavrin/Testing/RangeServer.hpp"
#include "Tavrin/Testing/TemporaryDirectory.hpp"

namespace {

using namespace tavrin;
using namespace tavrin::load;
namespace fs = std::filesystem;

constexpr double longestBlock = 250;  // milliseconds
constexpr double longestEnd = 100;    // milliseconds, of a release and of an exit
constexpr std::chrono::seconds longestWorkout(90);

/// What a player's process found out, one line for each field.
struct Sighting {
  std::string faulty;
  std::string neighbours;
  std::string complaint;  // of the host's
  double block = 0;       // milliseconds
  double release = 0;     // milliseconds

  std::vector<std::string> lines() const {
    return {faulty, neighbours, complaint, std::to_string(block), std::to_string(release)};
  }
  static Sighting of(const std::vector<std::string>& lines) {
    if (lines.size() < 5) return {};
    return {lines[0], lines[1], lines[2], std::stod(lines[3]), std::stod(lines[4])};
  }
};

// The first and the last video are good.
std::vector<Media> makeWorkout(testing::RangeServer& server, const Fault& fault) {
  server.serve("/" + firstName, testClip("red.mp4"));
  if (fault.answer.empty()) {
    server.serve(fault.path, testClip("long.mp4"), fault.behaviour);
  } else {
    server.serve(fault.path, fault.answer);
  }
  server.serve("/" + lastName, testClip("blue.mp4"));
  const auto faulty = fault.address.empty() ? server.url(fault.path) : *URL::parse(fault.address);
  std::vector<Media> workout;
  for (const auto& url : {server.url("/" + firstName), faulty, server.url("/" + lastName)}) {
    workout.push_back({UUID::random(), url, {"video/mp4"}});
  }
  return workout;
}

// In a process of its own.
Sighting watchWorkout(const Fault& fault, const fs::path& cache) {
  MediaEngine::setFactory(makeSilentMpv);
  if (fault.begin) fault.begin(cache);
  testing::RangeServer server;
  Viewer viewer(makeWorkout(server, fault));
  const auto first = viewer.show(0);
  if (fault.strike) fault.strike(cache);
  Sighting seen;
  if (fault.habit) seen.complaint = fault.habit(viewer);
  seen.faulty = viewer.show(1);
  const bool isHeldBack = viewer.isWaiting();
  if (fault.relent) fault.relent();
  server.releaseAll();
  if (isHeldBack) seen.faulty += "; then " + viewer.watchOn();
  const auto last = viewer.show(2);
  const bool bothPlayed = first == Viewer::wholeVideo && last == Viewer::wholeVideo;
  seen.neighbours = bothPlayed ? "both" : "first: " + first + ", last: " + last;
  seen.release = viewer.release();
  seen.block = viewer.longestBlockMilliseconds();
  return seen;
}

// In a process of its own, without the fault. Tells of the videos that do not play.
std::string watchNextRun() {
  MediaEngine::setFactory(makeSilentMpv);
  testing::RangeServer server;
  Viewer viewer(makeWorkout(server, {}));
  std::string lost;
  for (int i = 0; i < 3; ++i) {
    const auto seen = viewer.glance(i);
    if (seen != Viewer::plays) lost += (i == 1 ? "faulty: " : "neighbour: ") + seen + " ";
  }
  return lost.empty() ? "all play" : lost;
}

// Those beyond ASCII too, which printable text shows as well.
bool hasControlCharacters(const fs::path& printed) {
  std::istringstream text(contents(printed));
  for (std::string line; std::getline(text, line);) {
    if (printable(line) != line) return true;
  }
  return false;
}

/// All that a row tells.
struct Row {
  Sighting seen;
  ProcessReport workout;
  ProcessReport next;
  CacheEntry entry;
  int leftovers = 0;
  bool printsRawText = false;

  std::string nextRun() const { return next.lines.empty() ? next.end : next.lines[0]; }

  // A file that the fault put there, or a page kept as a video, stays what it is.
  bool hasRecovered() const {
    const bool isKept = entry.description.starts_with("as it was put there") ||
                        entry.description.starts_with("whole body as served");
    const auto seenNext = nextRun();
    return next.end.empty() &&
           (seenNext == "all play" || (isKept && seenNext.find("neighbour") == std::string::npos));
  }

  std::string verdict() const {
    if (!workout.end.empty()) return workout.end;
    if (!seen.complaint.empty()) return "HOST HARMED: " + seen.complaint;
    if (seen.neighbours != "both") return "NEIGHBOUR LOST";
    if (entry.isPoisoned || leftovers > 0) return "WRONG FILE KEPT";
    if (printsRawText) return "RAW TEXT PRINTED";
    if (seen.block > longestBlock) return "MAIN QUEUE BLOCKED";
    if (seen.release > longestEnd) return "SLOW RELEASE";
    if (workout.exitMilliseconds > longestEnd) return "SLOW EXIT";
    return hasRecovered() ? "good" : "NEXT RUN LOST";
  }
};

std::string cell(const std::string& text) {
  auto shown = printable(text);
  std::ranges::replace(shown, '|', '/');
  return shown;
}

/// Runs one workout, and the next, and prints their row. Returns whether all went as it should.
bool tryFault(const Fault& fault) {
  const testing::TemporaryDirectory home;
  ::setenv("XDG_CACHE_HOME", home.path().c_str(), 1);
  const auto cache = home.path() / "VideoCache";
  const auto printed = home.path() / "printed";
  fs::create_directory(cache);
  if (fault.prepare && !fault.prepare(cache)) {
    std::printf("| %s | | | | | | | | NOT POSSIBLE HERE |\n", fault.name.c_str());
    return false;
  }
  Row row;
  const auto before = PathLook::at(cache / faultyName);
  row.workout =
      runInProcess([&] { return watchWorkout(fault, cache).lines(); }, printed, longestWorkout);
  row.seen = Sighting::of(row.workout.lines);
  row.printsRawText = hasControlCharacters(printed);
  const auto after = PathLook::at(cache / faultyName);
  row.entry = judgeEntry(before, after, testClip("long.mp4"), fault.behaviour);
  row.leftovers = fault.leavesTemporaryFiles ? 0 : countTemporaryFiles(cache);
  if (fault.mend) fault.mend(cache);
  row.next = runInProcess([] { return std::vector{watchNextRun()}; }, printed, longestWorkout);
  const auto verdict = row.verdict();
  std::printf("| %s | %s | %s | %s | %.0f ms | %.0f ms | %.0f ms | %s | %s |\n", fault.name.c_str(),
              cell(row.seen.faulty).c_str(), cell(row.seen.neighbours).c_str(),
              row.entry.description.c_str(), row.seen.block, row.seen.release,
              row.workout.exitMilliseconds, cell(row.nextRun()).c_str(), verdict.c_str());
  std::fflush(stdout);
  return verdict == "good";
}

std::vector<Fault> allFaults() {
  std::vector<Fault> faults;
  for (const auto& group :
       {serverFaults(), networkFaults(), diskFaults(), scarcities(), bounds(), hostHabits()}) {
    faults.insert(faults.end(), group.begin(), group.end());
  }
  return faults;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string wanted = argc > 1 ? argv[1] : "";
  // Mounts of the campaign are seen by no other process.
  if (::unshare(CLONE_NEWNS) == 0) ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr);
  std::puts(
      "| fault | what the user saw of the faulty video | neighbours played | its cache entry |"
      " main queue kept for | released in | exited in | next run | verdict |\n"
      "| --- | --- | --- | --- | --- | --- | --- | --- | --- |");
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
