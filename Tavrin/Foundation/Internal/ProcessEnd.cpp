#include "Tavrin/Foundation/Internal/ProcessEnd.hpp"

#include <pthread.h>

#include <atomic>
#include <cstdlib>
#include <utility>
#include <vector>

#include "Tavrin/Foundation/FatalError.hpp"
#include "Tavrin/Foundation/Mutex.hpp"

namespace tavrin {

namespace {

constexpr std::chrono::milliseconds exitPatience(80);

std::atomic<std::uint64_t> number{1};

// Made while the library is loaded, before anything that could fork.
[[maybe_unused]] const int isCounting = pthread_atfork(nullptr, nullptr, [] { ++number; });

struct Stop {
  std::uint64_t process;
  std::function<void(ExitDeadline)> stop;
};

struct Stops {
  Mutex mutex;
  std::vector<Stop> stops TAVRIN_GUARDED_BY(mutex);
};

Stops& stops() {
  static auto* instance = new Stops;
  return *instance;
}

ExitDeadline exitDeadline() {
  static const auto deadline = std::chrono::steady_clock::now() + exitPatience;
  return deadline;
}

void runLast() {
  Stop last;
  {
    auto& known = stops();
    const LockGuard lock(known.mutex);
    last = std::move(known.stops.back());
    known.stops.pop_back();
  }
  if (last.process == processNumber()) last.stop(exitDeadline());
}

}  // namespace

std::uint64_t processNumber() { return number; }

void stopAtExit(std::function<void(ExitDeadline)> stop) {
  auto& known = stops();
  const LockGuard lock(known.mutex);
  known.stops.push_back({processNumber(), std::move(stop)});
  if (std::atexit(runLast) != 0) fatalError("no exit handler can be added");
}

}  // namespace tavrin
