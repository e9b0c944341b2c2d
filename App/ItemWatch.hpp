#pragma once

#include <functional>
#include <memory>
#include <string_view>

#include "Tavrin/Foundation/KeyValueObservation.hpp"
#include "Tavrin/Media/AVPlayerItem.hpp"

namespace tavrin::app {

/// Tells what becomes of one player item, on the main queue, while it lives.
class ItemWatch final : public KeyValueObserver, public std::enable_shared_from_this<ItemWatch> {
 public:
  struct Handlers {
    std::function<void()> statusChanged;
    std::function<void()> playedToEnd;
    std::function<void()> stalled;
  };

  /// `item` must not be null.
  static std::shared_ptr<ItemWatch> make(std::shared_ptr<AVPlayerItem> item, Handlers handlers);
  ~ItemWatch() override;

  const std::shared_ptr<AVPlayerItem>& item() const { return item_; }
  void observeValue(std::string_view keyPath) override;

 private:
  ItemWatch(std::shared_ptr<AVPlayerItem> item, Handlers handlers)
      : item_(std::move(item)), handlers_(std::move(handlers)) {}

  const std::shared_ptr<AVPlayerItem> item_;
  const Handlers handlers_;
};

}  // namespace tavrin::app
