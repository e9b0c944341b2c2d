#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "Tavrin/Foundation/Error.hpp"
#include "Tavrin/Media/AVAssetResourceLoader.hpp"
#include "Tavrin/Media/AVURLAsset.hpp"
#include "Tavrin/Media/MediaEngine.hpp"
#include "Tavrin/Mpv/Internal/DrawnPicture.hpp"
#include "Tavrin/Mpv/Internal/MpvHandle.hpp"
#include "Tavrin/Mpv/Internal/MpvPictures.hpp"
#include "Tavrin/Mpv/Internal/MpvStreams.hpp"
#include "Tavrin/Mpv/Internal/StallWait.hpp"
#include "Tavrin/Mpv/Internal/WatchedReader.hpp"

namespace tavrin {

/// What is known of one load. It only gathers facts; the engine decides what to tell.
struct MpvLoad {
  MediaEngine::LoadId id = 0;
  bool hasPicture = false;
  bool isAtEnd = false;
  /// Waits for bytes.
  bool isStarved = false;
  /// Has moved on since it was opened or last sought.
  bool hasMoved = false;
  /// It has been unpaused or sought: it may no longer stand at its start.
  bool hasLeftStart = false;
  double position = 0;  // seconds
  double duration = 0;  // seconds; 0 while it is not known
  std::optional<Error> failure;
};

/// One handle that plays one load after another, each from an idle handle, so that nothing of a
/// load reaches the next: neither a picture nor a late event. The engine's thread alone, but for
/// `draw`.
class MpvLane {
 public:
  using Clock = std::chrono::steady_clock;
  struct SeekEnd {
    std::uint64_t serial;
    bool finished;
  };

  /// The number of a load that nobody has asked for yet.
  static constexpr MediaEngine::LoadId nobodysLoad = 0;

  MpvLane(std::unique_ptr<MpvHandle> handle, const MpvEngineOptions& options)
      : handle_(std::move(handle)), pictures_(*handle_, options) {}

  bool isIdle() const { return phase_ == Phase::idle; }
  /// The load opened last.
  const MpvLoad& load() const { return load_; }
  bool isReady() const { return load_.hasPicture && !load_.failure; }

  /// Opens the asset, paused. The lane must be idle.
  void open(MediaEngine::LoadId load, const std::shared_ptr<AVURLAsset>& asset);
  /// Gives the open load, which was nobody's, its number.
  void adopt(MediaEngine::LoadId load) { load_.id = load; }
  /// Leaves the load where it is: it is paused, and reads no more.
  void hold();
  /// Ends the load: at once for its reader, soon for the handle.
  void close();
  /// Ends the load as failed, unless it has failed already. Where its bytes could not be had, that
  /// is the reason.
  void fail(const Error& reason);
  /// Fails a load that is at its end although its body has more: a read that failed and a file that
  /// was cut short look like an end too. Returns whether it did.
  bool failIfCutShort();
  void setPlaying(bool playing);
  void setMuted(bool muted);
  void setWaitsToMinimizeStalling(bool waits);
  /// Decides how long a load waits that has played and run out of bytes. Returns when to decide
  /// anew; absent for one that does not wait.
  std::optional<Clock::time_point> reviewStall();
  /// Whether it is known where the load's own time begins, from which seeks are counted.
  bool canSeek() const { return isReady() && origin_; }
  /// Moves to a time in seconds; `canSeek` must hold. A seek under way is overtaken.
  void seek(std::uint64_t serial, double seconds);
  bool isSeeking() const { return seekPhase_ != SeekPhase::none; }
  std::optional<SeekEnd> takeSeekEnd() { return std::exchange(seekEnd_, std::nullopt); }

  /// Takes in what the handle has to tell. Returns whether the load has a new picture.
  bool update(const std::function<void(const std::string&)>& logError);
  bool draw(const PixelBuffer& target) { return handle_->renderer()->draw(target); }
  /// Begins to draw the picture on another thread, in a size in pixels; the lane must stand still.
  std::shared_ptr<DrawnPicture> drawAside(int width, int height) {
    return DrawnPicture::draw(handle_->renderer(), width, height);
  }

 private:
  enum class Phase { idle, starting, open, closing };
  struct Stall {
    Clock::time_point since;
    std::int64_t readBefore;  // bytes
  };
  enum class SeekPhase { none, sent, accepted, jumping };

  void noteEncryption(MpvEvent& event) const;
  void chooseSound(const std::vector<std::int64_t>& sounds);
  void handle(const MpvEvent& event);
  void handleObservation(const MpvEvent& event);
  void setPosition(double seconds);
  void setDuration(double seconds);
  void endSeek(bool finished);
  void setStockToGoOn(double seconds);
  void observeAnew();
  void ignoreObservations();
  std::optional<Error> readingFailure() const;

  const std::unique_ptr<MpvHandle> handle_;
  MpvPictures pictures_;
  Phase phase_ = Phase::idle;
  bool closesOnceStarted_ = false;
  MpvLoad load_;
  std::shared_ptr<AVAssetResourceLoader> loader_;
  std::shared_ptr<WatchedReader> reader_;
  std::optional<MpvStream> stream_;
  std::uint64_t opening_ = 0;  // how many there have been
  std::optional<Stall> stall_;
  double stockToGoOn_ = StallWait::leastStock;  // seconds of play
  std::optional<double> firstPosition_;         // since the observation began
  // Where the load's own time begins in its container's, in seconds; absent until it is known.
  std::optional<double> origin_;
  bool hasStarted_ = false;  // what is told of the position is that of a picture
  double declaredEnd_ = 0;   // of the container, in seconds; 0 while it is not known
  std::uint64_t observation_ = 0;

  SeekPhase seekPhase_ = SeekPhase::none;
  std::uint64_t seekSerial_ = 0;
  double seekTarget_ = 0;  // seconds
  std::optional<SeekEnd> seekEnd_;

  // What the handle was set to last.
  std::optional<bool> isPaused_;
  std::optional<bool> isMuted_;
  std::optional<bool> waits_;
};

}  // namespace tavrin
