#include "Tavrin/Mpv/Internal/MpvAhead.hpp"

#include <algorithm>
#include <utility>

#include "Tavrin/Mpv/Internal/FreedMemory.hpp"

namespace tavrin {

namespace {

// libmpv decodes a little more after a first picture; then it rests.
constexpr auto timeToSettle = std::chrono::milliseconds(500);

template <class List, class Value>
bool contains(const List& list, const Value& value) {
  return std::ranges::find(list, value) != list.end();
}

}  // namespace

std::optional<MpvAhead::Taken> MpvAhead::take(const Asset& asset) {
  noteFailures();
  const auto found = std::ranges::find(opened_, asset, &Opened::asset);
  if (found == opened_.end()) return std::nullopt;
  Taken taken{found->lane, std::move(found->picture)};
  opened_.erase(found);
  share_.giveBack();
  if (taken.picture) taken.picture->forgo();
  return taken;
}

void MpvAhead::letGo(const MpvRequests::Wishes& wishes) {
  noteFailures();
  std::erase_if(failed_, [&](const Asset& each) { return !contains(wishes.expected, each); });
  for (auto each = opened_.begin(); each != opened_.end();) {
    if (contains(wishes.expected, each->asset)) {
      ++each;
    } else {
      close(each);
      each = opened_.begin();
    }
  }
  auto assets = wanted(wishes);
  if (assets != asked_) {
    asked_ = std::move(assets);
    share_.want(asked_.size());
  }
  while (opened_.size() > share_.limit()) closeLeastLikely(wishes.expected);
  if (opened_.empty() && share_.limit() == 0) lanes_.endSpare();
}

bool MpvAhead::hasMore(const MpvRequests::Wishes& wishes) const {
  const bool isOpening =
      std::ranges::any_of(opened_, [](const Opened& each) { return !each.lane->isReady(); });
  return !isOpening && share_.limit() > 0 && nextToOpen(wishes);
}

void MpvAhead::open(const MpvRequests::Wishes& wishes) {
  const auto asset = nextToOpen(wishes);
  if (!asset) return;
  if (opened_.size() >= share_.limit()) return closeLeastLikely(wishes.expected);
  auto* lane = lanes_.idleForAhead();
  if (!lane || !share_.take()) return;  // the bell rings when there is one
  lane->setMuted(wishes.isMuted);
  lane->setWaitsToMinimizeStalling(wishes.waits);
  lane->open(MpvLane::nobodysLoad, asset);
  opened_.push_back({asset, lane, {}, false});
}

void MpvAhead::draw(int width, int height) {
  for (auto& each : opened_) {
    if (each.lane->isReady() && !each.picture) each.picture = each.lane->drawAside(width, height);
  }
}

std::optional<MpvAhead::Clock::time_point> MpvAhead::tidiesAt() {
  for (auto& each : opened_) {
    if (!each.lane->isReady() || std::exchange(each.wasReady, true)) continue;
    tidiesAt_ = Clock::now() + timeToSettle;
  }
  return tidiesAt_;
}

void MpvAhead::tidy() {
  tidiesAt_.reset();
  giveBackFreedMemory();
}

// The likeliest that may be opened, as many as there may be at most.
std::vector<MpvAhead::Asset> MpvAhead::wanted(const MpvRequests::Wishes& wishes) const {
  std::vector<Asset> assets;
  for (const auto& each : wishes.expected) {
    if (assets.size() == OpenAhead::limitOfAnEngine) break;
    if (each && each != wishes.asset && !hasFailed(each)) assets.push_back(each);
  }
  return assets;
}

MpvAhead::Asset MpvAhead::nextToOpen(const MpvRequests::Wishes& wishes) const {
  auto assets = wanted(wishes);
  assets.resize(std::min(assets.size(), share_.limit()));
  const auto next =
      std::ranges::find_if_not(assets, [&](const Asset& each) { return isOpen(each); });
  return next == assets.end() ? nullptr : *next;
}

bool MpvAhead::isOpen(const Asset& asset) const {
  return std::ranges::find(opened_, asset, &Opened::asset) != opened_.end();
}

bool MpvAhead::hasFailed(const Asset& asset) const { return contains(failed_, asset); }

void MpvAhead::noteFailures() {
  std::erase_if(opened_, [this](const Opened& each) {
    if (!each.lane->load().failure) return false;
    failed_.push_back(each.asset);
    share_.giveBack();
    return true;
  });
}

void MpvAhead::close(std::vector<Opened>::iterator opened) {
  if (opened->picture) opened->picture->forgo();
  opened->lane->close();
  opened_.erase(opened);
  share_.giveBack();
}

void MpvAhead::closeLeastLikely(const std::vector<Asset>& expected) {
  const auto rank = [&](const Opened& each) { return std::ranges::find(expected, each.asset); };
  close(std::ranges::max_element(opened_, {}, rank));
}

}  // namespace tavrin
