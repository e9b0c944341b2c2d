#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "Platform/Foundation/Error.hpp"
#include "Platform/Foundation/KeyValueObservation.hpp"
#include "Platform/Foundation/Mutex.hpp"
#include "Platform/Foundation/URL.hpp"
#include "Platform/Media/AVURLAsset.hpp"

namespace tavrin {

/// Posted by an item that has played to its end.
inline constexpr std::string_view AVPlayerItemDidPlayToEndTime =
    "AVPlayerItemDidPlayToEndTimeNotification";
/// Posted by an item that has run out of bytes while it plays.
inline constexpr std::string_view AVPlayerItemPlaybackStalled =
    "AVPlayerItemPlaybackStalledNotification";

/// Media as a player plays it. Any thread.
class AVPlayerItem : public std::enable_shared_from_this<AVPlayerItem> {
 public:
  enum class Status { unknown = 0, readyToPlay = 1, failed = 2 };

  /// An item that streams the address and takes no part in caching.
  static std::shared_ptr<AVPlayerItem> make(const URL& url);

  virtual ~AVPlayerItem() = default;

  const std::shared_ptr<AVURLAsset>& asset() const { return asset_; }
  Status status() const;
  /// Why the item failed; absent unless its status is failed.
  std::optional<Error> error() const;
  /// Observable property: "status".
  KeyValueObservers& observers() { return observers_; }

  /// For the player that plays the item: takes the new status and, when it has changed, tells the
  /// observers on the calling thread. A failed item stays failed.
  void setStatus(Status status, std::optional<Error> error = std::nullopt);

 protected:
  explicit AVPlayerItem(std::shared_ptr<AVURLAsset> asset) : asset_(std::move(asset)) {}

 private:
  const std::shared_ptr<AVURLAsset> asset_;
  KeyValueObservers observers_;
  mutable Mutex mutex_;
  Status status_ TAVRIN_GUARDED_BY(mutex_) = Status::unknown;
  std::optional<Error> error_ TAVRIN_GUARDED_BY(mutex_);
};

}  // namespace tavrin
