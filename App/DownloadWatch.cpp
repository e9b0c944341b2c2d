#include "App/DownloadWatch.hpp"

#include <utility>

namespace tavrin::app {

bool DownloadWatch::update(const std::vector<VideoDownload>& downloads, Clock::time_point now) {
  constexpr auto window = std::chrono::seconds(3);
  const auto before = std::exchange(downloads_, {});
  bool isNew = before.size() != downloads.size();
  names_.clear();
  for (const auto& [video, progress] : downloads) {
    auto name = video.lastPathComponent();
    if (downloads_.contains(name)) continue;  // the second of one file
    const auto known = before.find(name);
    auto& download = downloads_[name];
    if (known != before.end()) download = known->second;
    isNew = isNew || known == before.end() || download.progress != progress;
    download.progress = progress;
    auto& samples = download.samples;
    samples.push_back({now, progress.received});
    while (now - samples.front().time > window) samples.pop_front();
    names_.push_back(std::move(name));
  }
  return isNew;
}

std::optional<DownloadProgress> DownloadWatch::progress(const std::string& name) const {
  const auto found = downloads_.find(name);
  if (found == downloads_.end()) return std::nullopt;
  return found->second.progress;
}

std::optional<double> DownloadWatch::rate(const std::string& name) const {
  constexpr double least = 0.5;  // seconds
  const auto found = downloads_.find(name);
  if (found == downloads_.end()) return std::nullopt;
  const auto& first = found->second.samples.front();
  const auto& last = found->second.samples.back();
  const auto seconds = std::chrono::duration<double>(last.time - first.time).count();
  if (seconds < least) return std::nullopt;
  return static_cast<double>(last.received - first.received) / seconds;
}

}  // namespace tavrin::app
