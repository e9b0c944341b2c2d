#pragma once

#include <functional>
#include <memory>

#include "Tavrin/Foundation/Mutex.hpp"
#include "Tavrin/Media/AVPlayerItem.hpp"
#include "Tavrin/Media/CMTime.hpp"
#include "Tavrin/Media/MediaEngine.hpp"

namespace tavrin {

class UpcomingRelay;

/// Plays one item at a time on an engine of its own. Any thread.
///
/// The engine's reports arrive on the main queue; there the player sets its item's status and posts
/// the item's notifications. There, too, it tells the engine what may be played after the item,
/// when the item knows (`AVPlayerItem::upcoming`). Releasing the player ends playback at once.
class AVPlayer final : public MediaEngine::Listener, public std::enable_shared_from_this<AVPlayer> {
 public:
  enum class ActionAtItemEnd { advance = 0, pause = 1, none = 2 };

  /// A paused player with the item, or with none. It is not muted and waits to minimise stalling.
  [[nodiscard]] static std::shared_ptr<AVPlayer> make(std::shared_ptr<AVPlayerItem> item);
  /// Removes what is registered for the player with the notification centre.
  ~AVPlayer() override;

  void play();
  /// Keeps the position. An end of the item that was reached before, and has not been told yet, is
  /// told when the player is to play again, unless it has been moved by then. One that is being
  /// told meanwhile, on the main queue, starts the player no more.
  void pause();
  /// Whether the player has been told to play and has not been paused since.
  bool isPlaying() const;

  /// Moves the position. `completion`, if given, is called on the main queue when the seek has
  /// ended, with false when something overtook it or there is no item.
  void seek(CMTime time, std::function<void(bool finished)> completion = nullptr);
  CMTime currentTime() const { return engine_->currentTime(); }
  /// The length of the current item; absent while it is not known.
  std::optional<CMTime> duration() const { return engine_->duration(); }

  /// Absent when the player has no item.
  std::shared_ptr<AVPlayerItem> currentItem() const;
  /// Makes the item current, from its start; an absent one leaves the player without an item.
  void replaceCurrentItem(std::shared_ptr<AVPlayerItem> item);

  bool isMuted() const;
  void setMuted(bool muted);
  bool automaticallyWaitsToMinimizeStalling() const;
  void setAutomaticallyWaitsToMinimizeStalling(bool waits);
  ActionAtItemEnd actionAtItemEnd() const;
  void setActionAtItemEnd(ActionAtItemEnd action);

  /// For the host's picture.
  MediaEngine& engine() { return *engine_; }
  /// The item whose load a drawn picture belongs to; absent when it is no longer current.
  std::shared_ptr<AVPlayerItem> item(MediaEngine::LoadId load) const;

  void engineDidBecomeReady(MediaEngine::LoadId load) override;
  void engineDidFail(MediaEngine::LoadId load, const Error& error) override;
  void engineDidPlayToEnd(MediaEngine::LoadId load) override;
  void engineDidStall(MediaEngine::LoadId load) override;

 private:
  /// Whether the observers of an end are being told, and whether another thread has paused since.
  enum class Telling { none, running, overtaken };
  class EndsTelling;

  AVPlayer() = default;
  void applyPlaying();

  // Set by make(), constant after it.
  std::unique_ptr<MediaEngine> engine_;
  std::shared_ptr<UpcomingRelay> relay_;

  mutable Mutex mutex_;
  std::shared_ptr<AVPlayerItem> currentItem_ TAVRIN_GUARDED_BY(mutex_);
  MediaEngine::LoadId load_ TAVRIN_GUARDED_BY(mutex_) = 0;
  bool isPlaying_ TAVRIN_GUARDED_BY(mutex_) = false;
  bool isHeld_ TAVRIN_GUARDED_BY(mutex_) = false;                     // by pause(), until play()
  MediaEngine::LoadId endedWhileHeld_ TAVRIN_GUARDED_BY(mutex_) = 0;  // 0: none
  Telling telling_ TAVRIN_GUARDED_BY(mutex_) = Telling::none;
  bool isMuted_ TAVRIN_GUARDED_BY(mutex_) = false;
  bool waitsToMinimizeStalling_ TAVRIN_GUARDED_BY(mutex_) = true;
  ActionAtItemEnd actionAtItemEnd_ TAVRIN_GUARDED_BY(mutex_) = ActionAtItemEnd::advance;
};

}  // namespace tavrin
