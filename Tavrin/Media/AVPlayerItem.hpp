#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "Tavrin/Foundation/Error.hpp"
#include "Tavrin/Foundation/KeyValueObservation.hpp"
#include "Tavrin/Foundation/Mutex.hpp"
#include "Tavrin/Foundation/URL.hpp"
#include "Tavrin/Media/AVURLAsset.hpp"
#include "Tavrin/Media/UpcomingAssets.hpp"

namespace tavrin {

/// Posted by an item that has played to its end.
inline constexpr std::string_view AVPlayerItemDidPlayToEndTime =
    "AVPlayerItemDidPlayToEndTimeNotification";
/// Posted by an item that has run out of bytes while it plays.
inline constexpr std::string_view AVPlayerItemPlaybackStalled =
    "AVPlayerItemPlaybackStalledNotification";

/// How far an item has come. Not an `AVPlayerItem::Status`: X11 defines a macro of that name.
enum class AVPlayerItemStatus { unknown = 0, readyToPlay = 1, failed = 2 };

/// Media as a player plays it. Any thread.
class AVPlayerItem : public std::enable_shared_from_this<AVPlayerItem> {
 public:
  /// An item that streams the address and takes no part in caching. `accepts` decides which answers
  /// are played. Absent: all of them.
  [[nodiscard]] static std::shared_ptr<AVPlayerItem> make(const URL& url,
                                                          ResponseTest accepts = nullptr);

  virtual ~AVPlayerItem() = default;

  const std::shared_ptr<AVURLAsset>& asset() const { return asset_; }
  AVPlayerItemStatus status() const;
  /// Why the item failed; absent unless its status is failed.
  std::optional<Error> error() const;
  /// Observable property: "status".
  KeyValueObservers& observers() { return observers_; }

  /// What may be played after the item; absent when nobody knows. Held weakly.
  std::shared_ptr<UpcomingAssets> upcoming() const;
  /// For who hands out the item, before a player has it.
  void setUpcoming(std::weak_ptr<UpcomingAssets> upcoming);

  /// For the player that plays the item: takes the new status and, when it has changed, tells the
  /// observers on the calling thread. A failed item stays failed.
  void setStatus(AVPlayerItemStatus status, std::optional<Error> error = std::nullopt);

 protected:
  explicit AVPlayerItem(std::shared_ptr<AVURLAsset> asset) : asset_(std::move(asset)) {}

 private:
  const std::shared_ptr<AVURLAsset> asset_;
  KeyValueObservers observers_;
  mutable Mutex mutex_;
  AVPlayerItemStatus status_ TAVRIN_GUARDED_BY(mutex_) = AVPlayerItemStatus::unknown;
  std::optional<Error> error_ TAVRIN_GUARDED_BY(mutex_);
  std::weak_ptr<UpcomingAssets> upcoming_ TAVRIN_GUARDED_BY(mutex_);
};

}  // namespace tavrin
