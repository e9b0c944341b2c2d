#include "App/ItemWatch.hpp"

#include <utility>

#include "Tavrin/Foundation/NotificationCenter.hpp"

namespace tavrin::app {

std::shared_ptr<ItemWatch> ItemWatch::make(std::shared_ptr<AVPlayerItem> item, Handlers handlers) {
  const std::shared_ptr<ItemWatch> watch(new ItemWatch(std::move(item), std::move(handlers)));
  watch->item_->observers().add(watch, "status");
  auto& center = NotificationCenter::defaultCenter();
  center.addObserver<ItemWatch>(
      watch, [](ItemWatch& self) { self.handlers_.playedToEnd(); }, AVPlayerItemDidPlayToEndTime,
      watch->item_);
  center.addObserver<ItemWatch>(
      watch, [](ItemWatch& self) { self.handlers_.stalled(); }, AVPlayerItemPlaybackStalled,
      watch->item_);
  return watch;
}

ItemWatch::~ItemWatch() {
  item_->observers().remove(this, "status");
  NotificationCenter::defaultCenter().removeObserver(this);
}

void ItemWatch::observeValue(std::string_view) { handlers_.statusChanged(); }

}  // namespace tavrin::app
