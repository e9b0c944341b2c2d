#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "App/ActionTrace.hpp"
#include "App/CacheWatch.hpp"
#include "App/DownloadWatch.hpp"
#include "App/ImageShow.hpp"
#include "App/ItemWatch.hpp"
#include "App/Patience.hpp"
#include "App/Seeking.hpp"
#include "Tavrin/Architecture/Store.hpp"

namespace tavrin::app {

/// The host of the video feature: creates its store from a workout, sends it what a person or a
/// script asks for, and knows what becomes of each item. Main queue only.
class WorkoutPlayer {
 public:
  using Clock = std::chrono::steady_clock;

  struct Settings {
    std::string title;
    bool isExerciseLooping = false;
    bool startsMuted = false;
    /// An item that shows nothing, or a video that stands still, for this long has failed.
    std::chrono::milliseconds patience = std::chrono::seconds(15);
    /// Called on any thread when there is a new picture; it must return at once.
    std::function<void()> pictureIsNew = [] {};
    /// Why the item at a position cannot be shown, where the host knows better than the item's own
    /// error; may be absent.
    std::function<std::optional<std::string>(std::int64_t position)> explain = nullptr;
  };

  /// What became of an item the last time it was current.
  enum class Outcome { notTried, pending, shown, failed };

  /// `media` holds at least one item. Everything is traced.
  WorkoutPlayer(Settings settings, std::vector<Media> media, std::shared_ptr<Trace> trace);
  /// Releases the player and the cache manager.
  ~WorkoutPlayer();
  WorkoutPlayer(const WorkoutPlayer&) = delete;
  WorkoutPlayer& operator=(const WorkoutPlayer&) = delete;

  /// Called after each change of the state, of an outcome or of where a video is. It may not send.
  void setChangeHandler(std::function<void()> changed) { changed_ = std::move(changed); }

  // What a person can do. Positions count from 0.
  void prepare();
  void set(std::int64_t position);
  void next();
  void previous();
  void toggleMute();
  void pause();
  /// Plays on, or from the start when the video has come to its end.
  void play();
  /// Goes to a place of the target's video; at its end it has not yet ended. Does nothing where
  /// `canSeek` is false.
  void seek(double seconds);
  bool canSeek() const;
  bool canStep(bool back) const;

  /// Looks after what nobody reports: downloads that have reached the disk, playback that stands
  /// still. Call it some ten times a second.
  void tick(Clock::time_point now);

  const Settings& settings() const { return settings_; }
  const VideoFeatureState& state() const { return store_->state(); }
  /// The position of the item that was asked for last, whether it is there yet or not; absent
  /// before the first.
  std::optional<std::int64_t> target() const { return target_; }
  /// The target's, or notTried.
  Outcome outcome() const;
  Outcome outcome(std::int64_t position) const {
    return outcomes_[static_cast<std::size_t>(position)];
  }
  /// Why the target has failed, for a person.
  const std::string& failure() const { return failure_; }
  /// How often the target has played to its end.
  int rounds() const { return rounds_; }
  bool isPlaying() const;
  /// Whether playback, or a seek, waits for bytes.
  bool isStalled() const { return isStalled_ || isSeekWaiting_; }
  /// Where the target's video is, or is on its way to, in seconds.
  double seconds() const;
  /// The target's length in seconds; absent while it is not known, and for an image.
  std::optional<double> duration() const;
  /// How much of the target's video has come; absent where nobody counts: for an image, and for a
  /// video that streams past the cache.
  std::optional<DownloadProgress> progress() const;
  /// What the cache downloads.
  const DownloadWatch& downloads() const { return downloads_; }
  /// Absent for a video without an address and for an image.
  std::optional<CacheState> cacheState(std::int64_t position) const;
  /// Whether every video is on disk.
  bool isAllStored() const;
  /// How many videos have been downloaded to disk.
  std::int64_t downloaded() const { return downloaded_; }
  /// Whether the video was on disk before the run.
  bool wasOnDisk(std::int64_t position) const {
    return wasOnDisk_[static_cast<std::size_t>(position)];
  }

  /// Draws the target's picture, if it is a video that has one, and returns whether it did.
  bool drawPicture(const PixelBuffer& target) const;
  /// The target's frame, if it is an image that has one.
  std::optional<AnimatedImageView::Frame> imageFrame(Clock::time_point now) const;

 private:
  using BusinessAction = VideoFeatureAction::BusinessAction;

  void send(BusinessAction action);
  void step(std::int64_t position, bool back);
  void observeState();
  bool isCacheFilling() const;
  void takeWaitingStep();
  void playerChanged();
  void startTrying(std::int64_t position);
  const Media& media(std::int64_t position) const { return state().media()[position]; }
  /// The player's item, once it is the one for the target.
  std::shared_ptr<AVPlayerItem> targetItem() const;
  bool hasPicture() const;
  // Whether every byte of the target's video has come.
  bool isWhole() const;
  void watchTarget();
  void playedToEnd();
  void stalled();
  void judge();
  void judgePatience(Clock::time_point now);
  void watchDownloads(Clock::time_point now);
  std::string fileName(std::int64_t position) const;
  void settle(Outcome outcome, std::string failure = {});
  void tell() const {
    if (changed_) changed_();
  }

  // What image loads hold, which may outlive the player.
  const std::shared_ptr<WorkoutPlayer*> self_ = std::make_shared<WorkoutPlayer*>(this);
  const Settings settings_;
  const std::shared_ptr<Trace> trace_;
  std::shared_ptr<CacheWatch> cache_;
  ViewEnvironment viewEnvironment_;
  std::function<void()> changed_;
  std::unique_ptr<Store<TracedFeature>> store_;
  std::vector<Observation> observations_;
  std::vector<State<bool>> imageFailed_;  // by position
  std::vector<Outcome> outcomes_;         // by position
  std::vector<bool> wasOnDisk_;           // by position
  bool mutesFirstPlayer_;
  std::int64_t saved_ = 0;  // the videos that the cache was asked to save
  std::int64_t downloaded_ = 0;
  DownloadWatch downloads_;
  Clock::time_point downloadsRead_;

  // The target, and how it gets on.
  std::optional<std::int64_t> target_;
  std::optional<std::int64_t> waitingStep_;  // until the cache is filling
  std::shared_ptr<ItemWatch> watch_;
  std::unique_ptr<ImageShow> image_;
  std::string failure_;
  int rounds_ = 0;
  bool isAtEnd_ = false;
  bool isStalled_ = false;
  bool isSeekWaiting_ = false;
  Patience patience_;
  const std::shared_ptr<Seeking> seeking_;
};

}  // namespace tavrin::app
