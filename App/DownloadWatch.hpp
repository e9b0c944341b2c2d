#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Tavrin/Cache/VideoCacheManager.hpp"

namespace tavrin::app {

/// How the cache's downloads get on: how much of each has come, and how fast. It knows them by the
/// names of their files, as the cache does. Main queue only.
class DownloadWatch {
 public:
  using Clock = std::chrono::steady_clock;

  /// How often a reading is worth taking.
  static constexpr auto interval = std::chrono::milliseconds(100);

  /// Takes in what the cache says now. Returns whether anything differs from before.
  bool update(const std::vector<VideoDownload>& downloads, Clock::time_point now);

  /// Absent when the video is not being downloaded.
  std::optional<DownloadProgress> progress(const std::string& name) const;
  /// Bytes a second over the last seconds; absent before it can be told.
  std::optional<double> rate(const std::string& name) const;
  /// The names, in the order in which the downloads were started.
  const std::vector<std::string>& names() const { return names_; }

 private:
  struct Sample {
    Clock::time_point time;
    std::int64_t received;  // bytes
  };
  struct Download {
    DownloadProgress progress;
    std::deque<Sample> samples;  // of the last seconds, the newest last
  };

  std::map<std::string, Download> downloads_;
  std::vector<std::string> names_;
};

}  // namespace tavrin::app
