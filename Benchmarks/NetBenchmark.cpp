// Many downloads of the URL session beside those of the curl program, and what they hold in memory.

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <fstream>
#include <functional>
#include <future>
#include <latch>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Benchmarks/Figures.hpp"
#include "Benchmarks/ProcessFigures.hpp"
#include "Benchmarks/Program.hpp"
#include "Benchmarks/Timing.hpp"
#include "Tavrin/Foundation/URLSession.hpp"
#include "Tests/Support/ServerProcess.hpp"

namespace tavrin::benchmarks {
namespace {

using testing::ServerProcess;

constexpr int downloads = 200;
constexpr std::int64_t mebibyte = 1 << 20;

// Takes a body as a player's loader does, in one buffer with room made once and within reason, or
// forgets it.
class Collector final : public URLSessionDataDelegate {
 public:
  Collector(std::latch& ended, std::atomic<int>& failures, bool isKeeping)
      : ended_(ended), failures_(failures), isKeeping_(isKeeping) {}

  void urlSession(URLSession&, URLSessionDataTask&, const URLResponse& response,
                  const CompletionHandler& completionHandler) override {
    completionHandler(ResponseDisposition::allow);
    if (isKeeping_) body_.reserve(std::min(response.expectedContentLength, 256 * mebibyte));
  }
  void urlSession(URLSession&, URLSessionDataTask&, const Data& chunk) override {
    if (isKeeping_) body_.append(chunk.view());
  }
  void urlSession(URLSession&, URLSessionDataTask&, const std::optional<Error>& error) override {
    if (error) ++failures_;
    ended_.count_down();
  }

 private:
  std::latch& ended_;
  std::atomic<int>& failures_;
  const bool isKeeping_;
  Data body_;
};

// Holds every call until it is opened, and keeps no bytes.
class Gate final : public URLSessionDataDelegate {
 public:
  explicit Gate(std::shared_future<void> opened) : opened_(std::move(opened)) {}

  void urlSession(URLSession&, URLSessionDataTask&, const URLResponse&,
                  const CompletionHandler& completionHandler) override {
    opened_.wait();
    completionHandler(ResponseDisposition::allow);
  }
  void urlSession(URLSession&, URLSessionDataTask&, const Data&) override { opened_.wait(); }
  void urlSession(URLSession&, URLSessionDataTask&, const std::optional<Error>&) override {}

 private:
  std::shared_future<void> opened_;
};

using Sessions = std::vector<std::shared_ptr<URLSession>>;

std::shared_ptr<URLSession> start(const URL& url,
                                  std::shared_ptr<URLSessionDataDelegate> delegate) {
  auto session = URLSession::make({}, std::move(delegate));
  session->dataTask(url)->resume();
  return session;
}

void invalidate(const Sessions& sessions) {
  for (const auto& session : sessions) session->invalidateAndCancel();
}

// Seconds until all have ended, their bodies forgotten as they come; no number when one has failed.
// `whileRunning` is called once.
double download(const URL& url, int count, const std::function<void()>& whileRunning = [] {}) {
  std::latch ended(count);
  std::atomic<int> failures = 0;
  Sessions sessions;
  const auto begun = Clock::now();
  for (int i = 0; i < count; ++i) {
    sessions.push_back(start(url, std::make_shared<Collector>(ended, failures, false)));
  }
  whileRunning();
  ended.wait();
  const auto seconds = secondsSince(begun);
  invalidate(sessions);
  return failures == 0 ? seconds : std::nan("");
}

double secondsOfCurl(const URL& url) {
  const auto list = "/dev/shm/tavrin-net-" + std::to_string(::getpid());
  {
    std::ofstream file(list);
    for (int i = 0; i < downloads; ++i) {
      file << "url = \"" << url.absoluteString() << "\"\noutput = \"/dev/null\"\n";
    }
  }
  const auto seconds = secondsOfProgram(
      {"curl", "-sf", "--no-progress-meter", "--parallel", "--parallel-max", "200", "-K", list});
  ::unlink(list.c_str());
  return seconds;
}

void measureParallel(Figures& figures, const URL& url) {
  const double ratio =
      medianRatio(9, [&] { return download(url, downloads); }, [&] { return secondsOfCurl(url); });
  figures.report("net.parallel_200_ratio", ratio, "x", atMost(1.5));
}

void measureThreads(Figures& figures, const URL& url) {
  int one = 0;
  int many = 0;
  int transferring = 0;
  download(url, 1, [&] { one = countThreads(); });
  download(url, downloads, [&] {
    many = countThreads();
    transferring = countThreadsNamed("transfer");
  });
  figures.report("net.transfer_threads", transferring, "threads", atMost(1));
  figures.report("net.threads_added_by_200", many - one, "threads", atMost(0));
}

// The figure once it has not grown for half a second: all transfers wait for their delegates.
std::int64_t settledResidentBytes() {
  std::int64_t most = 0;
  for (int still = 0; still < 10; ++still) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    const auto now = residentBytes();
    if (now > most + 65'536) still = 0;
    most = std::max(most, now);
  }
  return most;
}

void measureQueues(Figures& figures, const URL& url) {
  download(url, 1);
  const auto before = residentBytes();
  std::promise<void> gate;
  const auto opened = gate.get_future().share();
  Sessions sessions;
  for (int i = 0; i < downloads; ++i)
    sessions.push_back(start(url, std::make_shared<Gate>(opened)));
  const auto growth = static_cast<double>(settledResidentBytes() - before);
  const auto begun = Clock::now();
  invalidate(sessions);
  const auto cancelling = secondsSince(begun);
  gate.set_value();
  if (figures.isWanted("net.queued_per_download")) {
    figures.report("net.queued_per_download", growth / downloads / 1024, "KiB", atMost(256));
  }
  if (figures.isWanted("net.cancel_200")) {
    figures.report("net.cancel_200", cancelling * 1000, "ms", atMost(50));
  }
}

void measureHostileLength(Figures& figures, const URL& small, const URL& hostile) {
  download(small, 1);
  resetPeak();
  const auto before = peakBytes();
  std::latch ended(1);
  std::atomic<int> failures = 0;
  const auto session = start(hostile, std::make_shared<Collector>(ended, failures, true));
  ended.wait();
  session->invalidateAndCancel();
  const auto growth = static_cast<double>(peakBytes() - before);
  // It must have failed, for the body is shorter than that.
  figures.report("net.hostile_length_growth", failures == 1 ? growth / 1024 : std::nan(""), "KiB",
                 atMost(1024));
}

int run(int argc, char** argv) {
  const ServerProcess server([](testing::RangeServer& made) {
    made.serve("/1MiB", std::string(mebibyte, 'v'));
    made.serve("/4MiB", std::string(4 * mebibyte, 'v'));
    made.serve("/hostile", std::string(1000, 'v'), "hostile length");
  });
  Figures figures(argc, argv);
  // Memory first, in a process that has held none.
  if (figures.isWanted("net.queued_per_download") || figures.isWanted("net.cancel_200")) {
    measureQueues(figures, server.url("/4MiB"));
  }
  if (figures.isWanted("net.hostile_length_growth")) {
    measureHostileLength(figures, server.url("/1MiB"), server.url("/hostile"));
  }
  if (figures.isWanted("net.transfer_threads") || figures.isWanted("net.threads_added_by_200")) {
    measureThreads(figures, server.url("/1MiB"));
  }
  if (figures.isWanted("net.parallel_200_ratio")) measureParallel(figures, server.url("/1MiB"));
  return figures.exitStatus();
}

}  // namespace
}  // namespace tavrin::benchmarks

int main(int argc, char** argv) { return tavrin::benchmarks::run(argc, argv); }
