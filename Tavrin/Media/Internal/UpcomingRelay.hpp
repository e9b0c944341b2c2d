#pragma once

#include <memory>
#include <string_view>

#include "Tavrin/Foundation/KeyValueObservation.hpp"
#include "Tavrin/Media/UpcomingAssets.hpp"

namespace tavrin {

class AVPlayer;

/// Passes on to a player's engine what may be played after the player's item.
///
/// It is told of changes on any thread and reads them on the main queue, one after another: so what
/// the engine hears last is what holds.
class UpcomingRelay final : public KeyValueObserver,
                            public std::enable_shared_from_this<UpcomingRelay> {
 public:
  explicit UpcomingRelay(std::weak_ptr<AVPlayer> player) : player_(std::move(player)) {}
  ~UpcomingRelay() override;

  /// The player has another item. Any thread.
  void itemHasChanged();
  /// What may be played next has changed. Any thread.
  void observeValue(std::string_view keyPath) override;

 private:
  void passOn();
  void follow(const std::shared_ptr<UpcomingAssets>& upcoming);

  const std::weak_ptr<AVPlayer> player_;
  // The main queue alone.
  std::weak_ptr<UpcomingAssets> followed_;
  bool hasToldAssets_ = false;
};

}  // namespace tavrin
