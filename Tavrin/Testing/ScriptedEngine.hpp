#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Tavrin/Foundation/Mutex.hpp"
#include "Tavrin/Media/MediaEngine.hpp"

namespace tavrin::testing {

/// What a test tells a scripted engine, and what the engine was asked. It outlives the engine, so
/// that a test can read what happened up to the release. Any thread, unless said otherwise.
class EngineScript {
 public:
  /// What was asked, one line each, in order: "load 1 http://host/a.mp4", "load 2 none",
  /// "setPlaying true", "seek 0", "setMuted true", "setWaitsToMinimizeStalling false", "release".
  std::vector<std::string> operations() const;
  /// The same, and starts a new list.
  std::vector<std::string> takeOperations();

  /// The addresses of what may be loaded next, as it was said last. Not among the operations: it
  /// may be said at any time.
  std::vector<std::string> expected() const;

  MediaEngine::LoadId load() const;
  bool isPlaying() const;
  /// Whether the engine has been destroyed.
  bool isReleased() const;

  // The reports about the newest load. They reach the player before they return: main queue only.
  // Nothing is told once the engine has been released.
  void becomeReady();
  void fail(const std::string& description);
  void stall();
  void playToEnd();

  /// Whether every load that has an asset becomes ready by itself, on the main queue.
  void setBecomesReady(bool becomesReady);
  /// Whether seeks wait for `endSeek` instead of ending by themselves, on the main queue.
  void setHoldsSeeks(bool holdsSeeks);
  /// Sets what is called inside each seek, once its end is on the way: what else may happen before
  /// the call returns.
  void setInsideSeek(std::function<void()> handler);
  /// Ends the seek that is held, if any, on the main queue.
  void endSeek();

 private:
  friend class ScriptedEngine;
  using Completion = std::function<void(bool)>;

  explicit EngineScript(std::weak_ptr<MediaEngine::Listener> listener)
      : listener_(std::move(listener)) {}
  void record(std::string operation) TAVRIN_REQUIRES(mutex_);
  void report(const std::function<void(MediaEngine::Listener&, MediaEngine::LoadId)>& call);
  static void end(Completion completion, bool finished);

  const std::weak_ptr<MediaEngine::Listener> listener_;
  mutable Mutex mutex_;
  std::vector<std::string> operations_ TAVRIN_GUARDED_BY(mutex_);
  std::vector<std::string> expected_ TAVRIN_GUARDED_BY(mutex_);
  MediaEngine::LoadId load_ TAVRIN_GUARDED_BY(mutex_) = 0;
  std::shared_ptr<AVURLAsset> asset_ TAVRIN_GUARDED_BY(mutex_);
  bool hasPicture_ TAVRIN_GUARDED_BY(mutex_) = false;
  bool isPlaying_ TAVRIN_GUARDED_BY(mutex_) = false;
  bool isReleased_ TAVRIN_GUARDED_BY(mutex_) = false;
  bool becomesReady_ TAVRIN_GUARDED_BY(mutex_) = false;
  bool holdsSeeks_ TAVRIN_GUARDED_BY(mutex_) = false;
  double position_ TAVRIN_GUARDED_BY(mutex_) = 0;
  Completion heldSeek_ TAVRIN_GUARDED_BY(mutex_);
  std::function<void()> insideSeek_ TAVRIN_GUARDED_BY(mutex_);
  std::function<void()> pictureHandler_ TAVRIN_GUARDED_BY(mutex_);
};

/// A media engine that plays nothing: it records what is asked of it and reports what a test says.
class ScriptedEngine final : public MediaEngine {
 public:
  /// Gives a scripted engine to every player made from now on, and forgets the scripts of earlier
  /// ones.
  static void install();
  /// The script of the engine made last since `install`; absent when none was.
  static std::shared_ptr<EngineScript> last();
  /// The scripts of all engines made since `install`, in order.
  static std::vector<std::shared_ptr<EngineScript>> all();

  explicit ScriptedEngine(std::weak_ptr<Listener> listener);
  ~ScriptedEngine() override;

  const std::shared_ptr<EngineScript>& script() const { return script_; }

  void load(LoadId load, std::shared_ptr<AVURLAsset> asset) override;
  void expect(std::vector<std::shared_ptr<AVURLAsset>> assets) override;
  void setPlaying(bool playing) override;
  void seek(CMTime time, std::function<void(bool)> completion) override;
  void setMuted(bool muted) override;
  void setWaitsToMinimizeStalling(bool waits) override;
  CMTime currentTime() const override;
  void setPictureHandler(std::function<void()> handler) override;
  /// The picture of every load that became ready is white.
  std::optional<LoadId> draw(const PixelBuffer& target) override;

 private:
  const std::shared_ptr<EngineScript> script_;
};

}  // namespace tavrin::testing
