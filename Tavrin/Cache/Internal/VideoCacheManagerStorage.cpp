#include "Tavrin/Cache/Internal/VideoCacheManagerStorage.hpp"

#include <utility>

namespace tavrin {

void VideoCacheManagerStorage::store(const UUID& id, VideoCacheSettings settings) {
  auto manager = VideoCacheManager::make(std::move(settings));
  const LockGuard lock(mutex_);
  managers_[id].swap(manager);  // a replaced manager is released after the lock
}

std::shared_ptr<VideoCacheManager> VideoCacheManagerStorage::manager(
    const std::optional<UUID>& id) const {
  if (!id) return nullptr;
  const LockGuard lock(mutex_);
  const auto found = managers_.find(*id);
  return found == managers_.end() ? nullptr : found->second;
}

void VideoCacheManagerStorage::remove(const std::optional<UUID>& id) {
  if (!id) return;
  std::shared_ptr<VideoCacheManager> removed;  // released after the lock
  const LockGuard lock(mutex_);
  const auto found = managers_.find(*id);
  if (found == managers_.end()) return;
  removed = std::move(found->second);
  managers_.erase(found);
}

}  // namespace tavrin
