#include "Platform/Curl/Inbox.hpp"

#include <utility>

namespace tavrin::curl {

namespace {

// Small pieces are joined while they wait. Several chunks fill the inbox, so that a delegate can
// work on one while the next arrives.
constexpr std::int64_t chunkBytes = std::int64_t{32} * 1024;

}  // namespace

bool Inbox::wake() { return !std::exchange(isAwake_, true); }

bool Inbox::put(Event event) {
  const LockGuard lock(mutex_);
  if (isDropped_) return false;
  events_.push_back(std::move(event));
  return wake();
}

std::optional<bool> Inbox::put(std::span<const std::byte> bytes) {
  const auto count = static_cast<std::int64_t>(bytes.size());
  const LockGuard lock(mutex_);
  if (isDropped_) return false;
  if (queuedBytes_ > 0 && queuedBytes_ + count > capacityBytes_) {
    hasRefused_ = true;
    return {};
  }
  queuedBytes_ += count;
  auto* chunk = events_.empty() ? nullptr : std::get_if<Data>(&events_.back());
  if (chunk == nullptr || chunk->count() + count > chunkBytes) {
    chunk = &std::get<Data>(events_.emplace_back(Data()));
    chunk->reserve(chunkBytes);
  }
  chunk->append(bytes);
  return wake();
}

std::optional<Inbox::Event> Inbox::take() {
  const LockGuard lock(mutex_);
  if (events_.empty()) {
    isAwake_ = false;
    return {};
  }
  auto event = std::move(events_.front());
  events_.pop_front();
  const auto* chunk = std::get_if<Data>(&event);
  takenBytes_ = chunk == nullptr ? 0 : chunk->count();
  return event;
}

Inbox::Rest Inbox::finish() {
  const LockGuard lock(mutex_);
  queuedBytes_ -= std::exchange(takenBytes_, 0);
  isAwake_ = !events_.empty();
  const bool hasRoom = !isDropped_ && queuedBytes_ <= capacityBytes_ / 2;
  return {.hasMore = isAwake_, .wantsRefused = hasRoom && std::exchange(hasRefused_, false)};
}

void Inbox::drop() {
  std::deque<Event> dropped;
  const LockGuard lock(mutex_);
  isDropped_ = true;
  events_.swap(dropped);
}

}  // namespace tavrin::curl
