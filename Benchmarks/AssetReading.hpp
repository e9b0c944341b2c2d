#pragma once

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

#include "Benchmarks/Timing.hpp"
#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/Media/AVPlayerItem.hpp"
#include "Tavrin/Media/AssetByteReader.hpp"

namespace tavrin::benchmarks {

/// What a demuxer asks for at once, in bytes.
constexpr std::size_t readAtOnce = 128 * 1024;

/// How many bytes a reader gets to the end of an asset, in the manner of a demuxer; -1 when it
/// fails. The main queue must run meanwhile.
inline std::int64_t readToEnd(const std::shared_ptr<AVURLAsset>& asset) {
  const auto reader = AssetByteReader::make(asset);
  std::vector<std::byte> buffer(readAtOnce);
  std::int64_t total = 0;
  for (;;) {
    const auto count = reader->read(buffer);
    if (count <= 0) return count < 0 ? -1 : total;
    total += count;
  }
}

/// Seconds to read an item that has `length` bytes, on a thread of its own while the main queue
/// runs here. No number when other bytes come.
inline double secondsToRead(const AVPlayerItem& item, std::int64_t length) {
  std::atomic<double> seconds = 0;
  std::thread engine([&] {
    const auto start = Clock::now();
    const bool isWhole = readToEnd(item.asset()) == length;
    seconds = isWhole ? secondsSince(start) : std::nan("");
    DispatchQueue::main().async([] {});
  });
  DispatchQueue::main().runUntil([&] { return seconds != 0; }, std::chrono::minutes(2));
  engine.join();
  return seconds;
}

}  // namespace tavrin::benchmarks
