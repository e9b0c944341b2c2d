#include "Tavrin/Media/Internal/UpcomingRelay.hpp"

#include <utility>

#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/Media/AVPlayer.hpp"

namespace tavrin {

namespace {

constexpr std::string_view upcomingAssetsKey = "upcomingAssets";

}  // namespace

UpcomingRelay::~UpcomingRelay() { follow(nullptr); }

void UpcomingRelay::itemHasChanged() {
  DispatchQueue::main().async([weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->passOn();
  });
}

void UpcomingRelay::observeValue(std::string_view) { itemHasChanged(); }

void UpcomingRelay::passOn() {
  const auto player = player_.lock();
  if (!player) return;
  const auto item = player->currentItem();
  const auto upcoming = item ? item->upcoming() : nullptr;
  follow(upcoming);
  std::vector<std::shared_ptr<AVURLAsset>> assets;
  if (upcoming) assets = upcoming->upcomingAssets();
  const bool hadToldAssets = std::exchange(hasToldAssets_, !assets.empty());
  if (hadToldAssets || hasToldAssets_) player->engine().expect(std::move(assets));
}

void UpcomingRelay::follow(const std::shared_ptr<UpcomingAssets>& upcoming) {
  const auto followed = followed_.lock();
  if (followed == upcoming) return;
  if (followed) followed->upcomingObservers().remove(this, upcomingAssetsKey);
  if (upcoming) upcoming->upcomingObservers().add(shared_from_this(), upcomingAssetsKey);
  followed_ = upcoming;
}

}  // namespace tavrin
