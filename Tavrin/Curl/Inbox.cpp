#include "Tavrin/Curl/Inbox.hpp"

#include <algorithm>
#include <utility>

namespace tavrin::curl {

namespace {

// Small pieces are joined while they wait, for a call costs more than their bytes.
constexpr std::int64_t chunkBytes = std::int64_t{64} * 1024;

}  // namespace

Data& Inbox::addChunk() {
  auto& chunk = std::get<Data>(events_.emplace_back(Data()));
  if (spares_.empty()) {
    chunk.reserve(chunkBytes);
  } else {
    chunk = std::move(spares_.back());
    spares_.pop_back();
    chunk.resize(0);
  }
  return chunk;
}

bool Inbox::wake() { return !std::exchange(isAwake_, true); }

bool Inbox::put(Event event) {
  const LockGuard lock(mutex_);
  if (isDropped_) return false;
  events_.push_back(std::move(event));
  return wake();
}

Inbox::Put Inbox::put(std::span<const std::byte> bytes) {
  const auto count = static_cast<std::int64_t>(bytes.size());
  const LockGuard lock(mutex_);
  if (isDropped_) return {.mustWake = false, .isFull = false};
  queuedBytes_ += count;
  auto* chunk = events_.empty() ? nullptr : std::get_if<Data>(&events_.back());
  if (chunk == nullptr || chunk->count() + count > chunkBytes) {
    chunk = &addChunk();
  }
  chunk->append(bytes);
  if (!fullSince_ && queuedBytes_ >= capacityBytes_) fullSince_ = Clock::now();
  return {.mustWake = wake(), .isFull = fullSince_.has_value()};
}

const Inbox::Event* Inbox::take() {
  const LockGuard lock(mutex_);
  if (events_.empty()) {
    isAwake_ = false;
    return nullptr;
  }
  taken_ = std::move(events_.front());
  events_.pop_front();
  return &*taken_;
}

Inbox::Rest Inbox::finish() {
  const LockGuard lock(mutex_);
  if (const auto* chunk = taken_ ? std::get_if<Data>(&*taken_) : nullptr) {
    queuedBytes_ -= chunk->count();
    if (!chunk->isShared()) spares_.push_back(*chunk);
  }
  taken_.reset();
  isAwake_ = !events_.empty();
  const bool wantsMore = fullSince_ && !isDropped_ && queuedBytes_ <= capacityBytes_ / 2;
  if (wantsMore) adaptCapacity();
  return {.hasMore = isAwake_, .wantsMore = wantsMore};
}

void Inbox::adaptCapacity() {
  const bool keepsUp = Clock::now() - *fullSince_ < limits_.promptly;
  const auto more = std::min(capacityBytes_ * 2, limits_.mostQueuedBytes);
  capacityBytes_ = keepsUp ? more : limits_.queuedBytes;
  fullSince_.reset();
}

void Inbox::drop() {
  std::deque<Event> dropped;
  const LockGuard lock(mutex_);
  isDropped_ = true;
  events_.swap(dropped);
}

}  // namespace tavrin::curl
