// What bodies cost that lie in files: how fast they are read, written and kept, and how little
// memory they take. On the disk that /tmp lies on.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Benchmarks/AssetReading.hpp"
#include "Benchmarks/CacheDirectory.hpp"
#include "Benchmarks/Figures.hpp"
#include "Benchmarks/ProcessFigures.hpp"
#include "Benchmarks/Program.hpp"
#include "Benchmarks/Timing.hpp"
#include "Tavrin/Cache/VideoCacheManager.hpp"
#include "Tavrin/Foundation/FileManager.hpp"
#include "Tavrin/Testing/SampleMedia.hpp"
#include "Tests/Support/ServerProcess.hpp"

namespace tavrin::benchmarks {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::ServerProcess;

constexpr std::int64_t mebibyte = 1 << 20;
constexpr std::int64_t bodySize = 256 * mebibyte;
constexpr auto patience = std::chrono::minutes(3);

Data largeBody() {
  Data data;
  const auto bytes = data.resize(bodySize);
  for (std::size_t i = 0; i < bytes.size(); i += 8) bytes[i] = static_cast<std::byte>(i >> 12);
  return data;
}

// Reads the file as plainly as can be, by as much as the item's reader.
double secondsOfRead(const fs::path& path) {
  std::vector<std::byte> buffer(readAtOnce);
  const auto start = Clock::now();
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  std::int64_t total = 0;
  for (ssize_t got = 1; got > 0; total += got) got = ::read(file, buffer.data(), buffer.size());
  ::close(file);
  return total == bodySize ? secondsSince(start) : std::nan("");
}

void reading(Figures& figures) {
  const CacheDirectory directory;
  const auto video = testing::video("a");
  if (FileManager::write(largeBody(), directory.path(), "a.mp4")) std::abort();
  const auto manager = VideoCacheManager::make();
  secondsOfRead(directory.path() / "a.mp4");  // into the page cache
  const auto ratio = medianRatio(
      7,
      [&] {
        return secondsToRead(*manager->returnVideoFromArr(*video.url, "video/mp4"), bodySize);
      },
      [&] { return secondsOfRead(directory.path() / "a.mp4"); });
  figures.report("cache.read_ratio", ratio, "x of read(2), 256 MiB", atMost(1.2));
}

// The peer of whoever writes and flushes: a file in the page cache, copied to the same disk.
class FlushedCopy {
 public:
  explicit FlushedCopy(const fs::path& directory)
      : source_(directory / "source"), target_(directory / "target") {
    if (FileManager::write(largeBody(), directory, "source")) std::abort();
  }
  double seconds() const {
    const auto time = secondsOfProgram({"dd", "if=" + source_.string(), "of=" + target_.string(),
                                        "bs=1M", "conv=fsync", "status=none"});
    fs::remove(target_);
    return time;
  }

 private:
  const fs::path source_;
  const fs::path target_;
};

void writing(Figures& figures) {
  const CacheDirectory directory;
  const FlushedCopy peer(directory.root());
  const auto data = largeBody();
  const auto write = [&] {
    const auto start = Clock::now();
    if (FileManager::write(data, directory.path(), "a.mp4")) std::abort();
    const auto seconds = secondsSince(start);
    fs::remove(directory.path() / "a.mp4");
    return seconds;
  };
  const auto ratio = medianRatio(7, write, [&] { return peer.seconds(); });
  figures.report("cache.write_ratio", ratio, "x of dd conv=fsync, 256 MiB", atMost(1.2));
}

// Seconds from the last byte of a download to its name.
double secondsToPublish(const URL& url, const CacheDirectory& directory) {
  const auto file = directory.path() / url.lastPathComponent();
  const auto manager = VideoCacheManager::make();
  const auto hasCome = [&] {
    const auto downloads = manager->downloads();
    return downloads.empty() || downloads.front().progress.received == bodySize;
  };
  const auto waitFor = [end = Clock::now() + patience](const auto& condition) {
    while (!condition() && Clock::now() < end) std::this_thread::sleep_for(200us);
  };
  manager->saveVideosToCache(url, "video/mp4");
  waitFor(hasCome);
  const auto start = Clock::now();
  waitFor([&] { return manager->downloads().empty(); });
  const auto seconds = secondsSince(start);
  const bool isKept = fs::exists(file) && fs::file_size(file) == bodySize;
  fs::remove(file);
  return isKept ? seconds : std::nan("");
}

void publishing(Figures& figures, const URL& url) {
  const CacheDirectory directory;
  const FlushedCopy peer(directory.root());
  const auto ratio = medianRatio(
      7, [&] { return secondsToPublish(url, directory); }, [&] { return peer.seconds(); });
  figures.report("cache.publish", ratio, "x of dd conv=fsync, 256 MiB", atMost(0.6));
}

// Anonymous memory that three prepared videos take, in MiB. Their files are holes: what reads them
// whole pays for their bytes all the same.
double memoryOfPrepared() {
  constexpr std::int64_t size = 1024 * mebibyte;
  const CacheDirectory directory;
  for (const std::string name : {"a", "b", "c"}) {
    directory.add(name + ".mp4", "bytes");
    fs::resize_file(directory.path() / (name + ".mp4"), size);
  }
  const auto manager = VideoCacheManager::make();
  const auto before = residentBytes();
  manager->prepareFirstTwoVideos(testing::video("a"), testing::video("b"));
  manager->onSkipForwardPrepare(std::nullopt, testing::video("c"));
  const auto after = residentBytes();
  const auto items = manager->cachedItems();
  const bool isRight = items.size() == 3 && std::ranges::all_of(items, [](const auto& item) {
                         return item->progress().received == size;
                       });
  return isRight ? static_cast<double>(after - before) / mebibyte : std::nan("");
}

// The most memory that downloads take which are kept, in MiB, over what the process has before.
double memoryOfDownloads(const ServerProcess& server, int count, std::int64_t size) {
  const CacheDirectory directory;
  const auto manager = VideoCacheManager::make();
  resetPeak();
  const auto before = peakBytes();
  std::vector<fs::path> files;
  for (int i = 0; i < count; ++i) {
    const auto name = std::to_string(size / mebibyte) + "-" + std::to_string(i) + ".mp4";
    files.push_back(directory.path() / name);
    manager->saveVideosToCache(server.url("/" + name), "video/mp4");
  }
  const auto end = Clock::now() + patience;
  while (!manager->downloads().empty() && Clock::now() < end) std::this_thread::sleep_for(10ms);
  const bool isRight = std::ranges::all_of(files, [size](const auto& file) {
    return fs::exists(file) && fs::file_size(file) == static_cast<std::uintmax_t>(size);
  });
  return isRight ? static_cast<double>(peakBytes() - before) / mebibyte : std::nan("");
}

constexpr int manyBodies = 10;
constexpr std::int64_t manyBodiesSize = 100 * mebibyte;
constexpr std::int64_t hugeBodySize = 4096 * mebibyte;

// The same block again and again, so that the server holds little.
void serveBlocks(testing::RangeServer& server, std::int64_t size, int count) {
  const auto block = testing::shareBytes(std::string(mebibyte, 'v'));
  testing::HTTPScript script{testing::httpHead(
      "200 OK", "Content-Type: video/mp4\r\nContent-Length: " + std::to_string(size) + "\r\n")};
  for (std::int64_t i = 0; i < size; i += mebibyte) {
    script.push_back(testing::HTTPStep::send(block, 0, mebibyte));
  }
  for (int i = 0; i < count; ++i) {
    server.serve("/" + std::to_string(size / mebibyte) + "-" + std::to_string(i) + ".mp4", script);
  }
}

void memory(Figures& figures, const ServerProcess& server) {
  const std::string unit = "MiB, the peak while ";
  if (figures.isWanted("memory.prepared")) {
    figures.report("memory.prepared", inChild(memoryOfPrepared),
                   "MiB more anonymous memory, three of 1 GiB", atMost(8));
  }
  if (figures.isWanted("memory.download_ten")) {
    const auto peak =
        inChild([&] { return memoryOfDownloads(server, manyBodies, manyBodiesSize); });
    figures.report("memory.download_ten", peak, unit + "ten of 100 MiB come at once", atMost(64));
  }
  if (figures.isWanted("memory.download_4GiB")) {
    const auto peak = inChild([&] { return memoryOfDownloads(server, 1, hugeBodySize); });
    figures.report("memory.download_4GiB", peak, unit + "one of 4 GiB comes", atMost(64));
  }
}

int run(int argc, char** argv) {
  const ServerProcess server([](testing::RangeServer& made) {
    serveBlocks(made, bodySize, 1);
    serveBlocks(made, manyBodiesSize, manyBodies);
    serveBlocks(made, hugeBodySize, 1);
  });
  Figures figures(argc, argv);
  memory(figures, server);  // in children, while this process has one thread
  if (figures.isWanted("cache.read_ratio")) reading(figures);
  if (figures.isWanted("cache.write_ratio")) writing(figures);
  if (figures.isWanted("cache.publish")) publishing(figures, server.url("/256-0.mp4"));
  return figures.exitStatus();
}

}  // namespace
}  // namespace tavrin::benchmarks

int main(int argc, char** argv) { return tavrin::benchmarks::run(argc, argv); }
