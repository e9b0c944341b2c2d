#include "Tavrin/Foundation/KeyValueObservation.hpp"

#include <utility>

namespace tavrin {

void KeyValueObservers::add(const std::shared_ptr<KeyValueObserver>& observer,
                            std::string_view keyPath) {
  const LockGuard lock(mutex_);
  registrations_.push_back({observer, observer.get(), std::string(keyPath)});
}

void KeyValueObservers::remove(const KeyValueObserver* observer, std::string_view keyPath) {
  const LockGuard lock(mutex_);
  std::erase_if(registrations_, [&](const Registration& each) {
    return each.address == observer && each.keyPath == keyPath;
  });
}

void KeyValueObservers::tell(std::string_view keyPath) {
  std::vector<std::shared_ptr<KeyValueObserver>> told;
  {
    const LockGuard lock(mutex_);
    for (const auto& each : registrations_) {
      if (each.keyPath != keyPath) continue;
      if (auto observer = each.observer.lock()) told.push_back(std::move(observer));
    }
  }
  for (const auto& observer : told) observer->observeValue(keyPath);
}

}  // namespace tavrin
