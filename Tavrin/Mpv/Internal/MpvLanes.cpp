#include "Tavrin/Mpv/Internal/MpvLanes.hpp"

#include <algorithm>
#include <utility>

namespace tavrin {

void MpvLanes::makeFewest() {
  while (lanes_.size() < fewest && make()) {
  }
}

MpvLane* MpvLanes::idleForLoad() {
  if (auto* idle = firstIdle()) return idle;
  return lanes_.size() < fewest ? make() : nullptr;
}

MpvLane* MpvLanes::idleForAhead() {
  const auto idle = countIdle();
  if (idle > 1) return firstIdle();
  return idle == 1 && lanes_.size() < limit ? make() : nullptr;
}

void MpvLanes::endSpare() {
  while (lanes_.size() > fewest) {
    const auto idle = std::ranges::find_if(lanes_, [](const auto& lane) { return lane->isIdle(); });
    if (idle == lanes_.end()) return;
    lanes_.erase(idle);
  }
}

void MpvLanes::forEach(const std::function<void(MpvLane&)>& call) {
  for (const auto& lane : lanes_) call(*lane);
}

// A player that is ended while a load is open waits longer than one whose load has ended.
void MpvLanes::end(std::chrono::steady_clock::time_point deadline) {
  for (const auto& lane : lanes_) lane->close();
  // What came before has to be taken in first: libmpv rings once until it has been.
  do {
    for (const auto& lane : lanes_) lane->update(nullptr);
  } while (countIdle() < lanes_.size() && bell_.waitUntil(deadline));
  lanes_.clear();
}

MpvLane* MpvLanes::make() {
  auto handle = MpvHandle::make(options_, bell_, whyNone_);
  if (!handle) return nullptr;
  return lanes_.emplace_back(std::make_unique<MpvLane>(std::move(handle), options_)).get();
}

std::size_t MpvLanes::countIdle() const {
  return static_cast<std::size_t>(
      std::ranges::count_if(lanes_, [](const auto& lane) { return lane->isIdle(); }));
}

MpvLane* MpvLanes::firstIdle() const {
  const auto idle = std::ranges::find_if(lanes_, [](const auto& lane) { return lane->isIdle(); });
  return idle == lanes_.end() ? nullptr : idle->get();
}

}  // namespace tavrin
