// What it costs to play a video while it downloads: time beside the curl program, memory beside the
// body, passes over pending requests, and a reader's throughput.

#include <atomic>
#include <cmath>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Benchmarks/AssetReading.hpp"
#include "Benchmarks/Figures.hpp"
#include "Benchmarks/ProcessFigures.hpp"
#include "Benchmarks/Program.hpp"
#include "Benchmarks/Timing.hpp"
#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/Item/CachingPlayerItem.hpp"
#include "Tavrin/Item/Internal/CachingPlayerItemResourceLoader.hpp"
#include "Tavrin/Testing/TemporaryDirectory.hpp"
#include "Tests/Support/ServerProcess.hpp"

namespace tavrin::benchmarks {
namespace {

using testing::ServerProcess;

constexpr std::int64_t mebibyte = 1 << 20;
constexpr std::int64_t bodyLength = 256 * mebibyte;
constexpr auto patience = std::chrono::minutes(2);

// Lets the main queue know how a download ended.
class Ended final : public CachingPlayerItemDelegate {
 public:
  void playerItemDidFinishDownloadingData(CachingPlayerItem&, const Data& data) override {
    end(data.count());
  }
  void playerItemDownloadingFailedWith(CachingPlayerItem&, const Error&) override { end(-1); }

  // Bytes of the body; -1 when it failed or took too long.
  std::int64_t wait() const {
    DispatchQueue::main().runUntil([this] { return length_ != 0; }, patience);
    return length_ == 0 ? -1 : length_.load();
  }

 private:
  void end(std::int64_t length) {
    length_ = length;
    DispatchQueue::main().async([] {});
  }

  std::atomic<std::int64_t> length_ = 0;
};

// Both write to the same disk, the item into a file that nobody keeps.
double secondsOfItem(const URL& url, const std::filesystem::path& directory) {
  const auto ended = std::make_shared<Ended>();
  const auto start = Clock::now();
  const auto item = CachingPlayerItem::make(url, nullptr, directory);
  item->setDelegate(ended);
  item->download();
  const bool isWhole = ended->wait() == bodyLength;
  return isWhole ? secondsSince(start) : std::nan("");
}

double secondsOfCurl(const URL& url, const std::filesystem::path& directory) {
  const auto file = directory / "curl";
  const auto seconds = secondsOfProgram({"curl", "-sf", "-o", file, url.absoluteString()});
  std::filesystem::remove(file);
  return seconds;
}

void measureThroughput(Figures& figures, const URL& url) {
  const testing::TemporaryDirectory directory;
  const auto ratio = medianRatio(
      7, [&] { return secondsOfItem(url, directory.path()); },
      [&] { return secondsOfCurl(url, directory.path()); });
  figures.report("item.download_256MiB_throughput", 1 / ratio, "of curl", atLeast(0.9));
}

// The most memory that a process holds which does nothing but download and play one video.
double peakMebibytes(const URL& url) {
  resetPeak();
  const auto ended = std::make_shared<Ended>();
  const auto item = CachingPlayerItem::make(url);
  item->setDelegate(ended);
  std::atomic<std::int64_t> read = 0;
  std::thread engine([&] { read = readToEnd(item->asset()); });
  const auto length = ended->wait();
  DispatchQueue::main().runUntil([&] { return read != 0; }, patience);
  engine.join();
  const bool isWhole = length == bodyLength && read == bodyLength;
  return isWhole ? static_cast<double>(peakBytes()) / mebibyte : std::nan("");
}

void measurePeak(Figures& figures, const std::string& id, const URL& url, double bodyFactor) {
  if (!figures.isWanted(id)) return;
  const double peak = inChild([&] { return peakMebibytes(url); });
  figures.report(id, peak - bodyFactor * static_cast<double>(bodyLength / mebibyte), "MiB",
                 atMost(24));
}

class SilentSession final : public URLSession {
  std::shared_ptr<URLSessionDataTask> dataTask(const URLRequest&) override { return nullptr; }
  void invalidateAndCancel() override {}
};

class SilentTask final : public URLSessionDataTask {
  void resume() override {}
};

// Requests for what lies far ahead: every chunk goes past all of them.
double secondsOfPasses() {
  const auto item = CachingPlayerItem::make(*URL::parse("http://host/clip.mp4"));
  auto& assetLoader = *item->asset()->resourceLoader();
  const auto delegate = assetLoader.delegate();
  auto& loader = dynamic_cast<CachingPlayerItem::ResourceLoaderDelegate&>(*delegate);
  const auto session = std::make_shared<SilentSession>();
  SilentTask task;
  loader.setSession(session);
  loader.urlSession(*session, task, URLResponse{"video/mp4", bodyLength}, [](auto) {});
  const Data chunk(std::string(16 * 1024, 'v'));
  const auto start = Clock::now();
  for (int i = 0; i < 1000; ++i) {
    auto data = std::make_shared<AVAssetResourceLoadingDataRequest>(
        bodyLength + i, mebibyte, [](std::int64_t, const Data&) {});
    assetLoader.delegate()->resourceLoader(
        assetLoader, std::make_shared<AVAssetResourceLoadingRequest>(
                         i % 2 == 0, std::move(data), [](AVAssetResourceLoadingRequest&) {}));
  }
  for (int i = 0; i < 10'000; ++i) loader.urlSession(*session, task, chunk);
  return secondsSince(start);
}

double gigabytesPerSecondOfReader() {
  const auto item = CachingPlayerItem::make(Data(std::string(bodyLength, 'v')), "video/mp4", "v");
  return static_cast<double>(bodyLength) / 1e9 / secondsToRead(*item, bodyLength);
}

double medianOf(int rounds, const std::function<double()>& measure) {
  std::vector<double> values;
  for (int i = 0; i < rounds; ++i) values.push_back(measure());
  return median(values);
}

int run(int argc, char** argv) {
  const ServerProcess server([](testing::RangeServer& made) {
    const std::string body(bodyLength, 'v');
    made.serve("/declared", body);
    made.serve("/undeclared", body, "until close");
  });
  Figures figures(argc, argv);
  // Children first, while this process has one thread.
  measurePeak(figures, "item.peak_over_declared_body", server.url("/declared"), 1);
  measurePeak(figures, "item.peak_over_1.1_undeclared_body", server.url("/undeclared"), 1.1);
  if (figures.isWanted("item.passes_1000_requests_10000_chunks")) {
    figures.report("item.passes_1000_requests_10000_chunks", medianOf(3, secondsOfPasses), "s",
                   atMost(1));
  }
  if (figures.isWanted("item.reader_throughput")) {
    figures.report("item.reader_throughput", medianOf(5, gigabytesPerSecondOfReader), "GB/s",
                   atLeast(3));
  }
  if (figures.isWanted("item.download_256MiB_throughput")) {
    measureThroughput(figures, server.url("/declared"));
  }
  return figures.exitStatus();
}

}  // namespace
}  // namespace tavrin::benchmarks

int main(int argc, char** argv) { return tavrin::benchmarks::run(argc, argv); }
