#pragma once

#include <cstdint>
#include <list>
#include <optional>
#include <unordered_map>
#include <utility>

#include "Tavrin/Foundation/Data.hpp"
#include "Tavrin/Foundation/Mutex.hpp"
#include "Tavrin/Foundation/URL.hpp"

namespace tavrin {

/// The bytes of images that could be shown, by address, within a number of bytes: where room is
/// needed, the image not asked for the longest goes. Any thread.
class ImageMemoryCache {
 public:
  explicit ImageMemoryCache(std::int64_t capacity = 64LL << 20) : capacity_(capacity) {}

  std::optional<Data> find(const URL& url);
  /// Replaces what the address had. Bytes that exceed the capacity by themselves are not kept.
  void store(const URL& url, const Data& data);

 private:
  using Entries = std::list<std::pair<URL, Data>>;

  void remove(Entries::iterator entry) TAVRIN_REQUIRES(mutex_);

  const std::int64_t capacity_;  // in bytes
  Mutex mutex_;
  Entries entries_ TAVRIN_GUARDED_BY(mutex_);  // the one asked for last in front
  std::unordered_map<URL, Entries::iterator> byAddress_ TAVRIN_GUARDED_BY(mutex_);
  std::int64_t size_ TAVRIN_GUARDED_BY(mutex_) = 0;  // in bytes
};

}  // namespace tavrin
