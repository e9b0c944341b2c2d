#include "Tavrin/View/ImageMemoryCache.hpp"

#include <iterator>

namespace tavrin {

std::optional<Data> ImageMemoryCache::find(const URL& url) {
  const LockGuard lock(mutex_);
  const auto found = byAddress_.find(url);
  if (found == byAddress_.end()) return std::nullopt;
  entries_.splice(entries_.begin(), entries_, found->second);
  return found->second->second;
}

void ImageMemoryCache::store(const URL& url, const Data& data) {
  const LockGuard lock(mutex_);
  if (const auto old = byAddress_.find(url); old != byAddress_.end()) remove(old->second);
  if (data.count() > capacity_) return;
  while (size_ + data.count() > capacity_) remove(std::prev(entries_.end()));
  entries_.emplace_front(url, data);
  byAddress_.emplace(url, entries_.begin());
  size_ += data.count();
}

void ImageMemoryCache::remove(Entries::iterator entry) {
  size_ -= entry->second.count();
  byAddress_.erase(entry->first);
  entries_.erase(entry);
}

}  // namespace tavrin
