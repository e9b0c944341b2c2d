#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "App/CacheWatch.hpp"
#include "Tavrin/Media/MediaEngine.hpp"
#include "Tavrin/View/Bitmap.hpp"

namespace tavrin::app {

class WorkoutPlayer;

/// Everything that a person sees, as a value.
struct ScreenModel {
  struct Item {
    std::string name;
    bool isVideo = true;
    bool hasFailed = false;
    /// Absent for an image.
    std::optional<CacheState> cache;
    /// Absent unless it is being downloaded.
    std::optional<DownloadProgress> download;
  };
  enum class Stage { empty, loading, shown, failed };

  std::string title;
  std::vector<Item> items;
  /// The position of the current item, counted from 0.
  std::optional<std::int64_t> current;
  Stage stage = Stage::empty;
  /// Why the current item has failed.
  std::string failure;
  bool isPlaying = false;
  bool isMuted = false;
  /// What the person waits for; empty when for nothing.
  std::string note;
  /// What is being downloaded, the watched video first; empty when nothing is.
  std::string downloads;
  bool canGoBack = false;
  bool canGoOn = false;
  bool canSeek = false;
  double seconds = 0;
  /// Absent where it is not known, and for an image.
  std::optional<double> duration;
  /// How much of the current video has come, 0 to 1.
  double loaded = 0;

  /// Draw the current picture: a video's by the function, an image's from its bitmap.
  std::function<bool(const PixelBuffer&)> drawVideo;
  std::shared_ptr<const Bitmap> image;

  bool isVideo() const { return current && items[static_cast<std::size_t>(*current)].isVideo; }
};

/// What `player` shows at a time. The model must not outlive it.
ScreenModel screenModel(const WorkoutPlayer& player, std::chrono::steady_clock::time_point now);

}  // namespace tavrin::app
