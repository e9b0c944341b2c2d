#pragma once

#include <memory>
#include <optional>
#include <unordered_map>

#include "Tavrin/Cache/VideoCacheManager.hpp"
#include "Tavrin/Foundation/Mutex.hpp"
#include "Tavrin/Foundation/UUID.hpp"

namespace tavrin {

/// The cache managers by their identifiers, and the only owner of them. Any thread; the operations
/// run one at a time.
class VideoCacheManagerStorage {
 public:
  /// Makes a manager for the identifier, in place of one that has it already.
  void store(const UUID& id, VideoCacheSettings settings = {});
  /// The manager with the identifier; null when it is absent or unknown.
  std::shared_ptr<VideoCacheManager> manager(const std::optional<UUID>& id) const;
  /// Lets go of the manager, if there is one.
  void remove(const std::optional<UUID>& id);

 private:
  mutable Mutex mutex_;
  std::unordered_map<UUID, std::shared_ptr<VideoCacheManager>> managers_ TAVRIN_GUARDED_BY(mutex_);
};

}  // namespace tavrin
