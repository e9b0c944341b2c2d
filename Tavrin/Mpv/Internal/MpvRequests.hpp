#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "Tavrin/Foundation/Mutex.hpp"
#include "Tavrin/Media/AVURLAsset.hpp"
#include "Tavrin/Media/MediaEngine.hpp"

namespace tavrin {

/// What is wanted of an engine, and the times it is told. Any thread.
class MpvRequests {
 public:
  using LoadId = MediaEngine::LoadId;
  using Completion = std::function<void(bool)>;

  struct Wishes {
    LoadId load = 0;
    std::shared_ptr<AVURLAsset> asset;
    /// What may be loaded next, the likeliest first.
    std::vector<std::shared_ptr<AVURLAsset>> expected;
    /// When a load, a seek, playing or other assets were asked for last.
    std::chrono::steady_clock::time_point asked;
    bool isPlaying = false;
    bool isMuted = false;
    bool waits = true;
    bool isReleased = false;
  };
  struct SeekTarget {
    std::uint64_t serial;
    double seconds;
  };

  Wishes wishes() const;
  void load(LoadId load, std::shared_ptr<AVURLAsset> asset);
  void expect(std::vector<std::shared_ptr<AVURLAsset>> assets);
  void setPlaying(bool playing) { set(&Wishes::isPlaying, playing); }
  void setMuted(bool muted) { set(&Wishes::isMuted, muted); }
  void setWaits(bool waits) { set(&Wishes::waits, waits); }
  void release() { set(&Wishes::isReleased, true); }

  /// Overtakes the seek that has not ended, which has then not finished; so has this one when
  /// nothing is loaded. Completions are called on the main queue.
  void seek(double seconds, Completion completion);
  /// The seek of this load that has not ended.
  std::optional<SeekTarget> seekOf(LoadId load) const;
  /// Nothing, when that seek has ended already.
  void endSeek(std::uint64_t serial, bool finished);
  void endAnySeek();

  /// Times in seconds; a duration of 0 is not known.
  void publishTimes(LoadId load, double position, double duration);
  double position() const;
  std::optional<double> duration() const;

 private:
  struct Seek {
    SeekTarget target;
    Completion completion;
  };

  void set(bool Wishes::* wish, bool value);
  bool areTimesCurrent() const TAVRIN_REQUIRES(mutex_);

  mutable Mutex mutex_;
  Wishes wishes_ TAVRIN_GUARDED_BY(mutex_);
  std::optional<Seek> seek_ TAVRIN_GUARDED_BY(mutex_);  // that has not ended
  std::uint64_t lastSeek_ TAVRIN_GUARDED_BY(mutex_) = 0;
  LoadId timesLoad_ TAVRIN_GUARDED_BY(mutex_) = 0;
  double position_ TAVRIN_GUARDED_BY(mutex_) = 0;
  double duration_ TAVRIN_GUARDED_BY(mutex_) = 0;
};

}  // namespace tavrin
