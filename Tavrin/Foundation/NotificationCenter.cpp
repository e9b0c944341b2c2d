#include "Tavrin/Foundation/NotificationCenter.hpp"

#include <algorithm>
#include <utility>

namespace tavrin {

namespace {

template <class A, class B>
bool haveSameOwner(const A& a, const B& b) {
  return !a.owner_before(b) && !b.owner_before(a);
}

}  // namespace

NotificationCenter& NotificationCenter::defaultCenter() {
  static auto* center = new NotificationCenter;
  return *center;
}

bool NotificationCenter::Registration::isFor(const std::shared_ptr<const void>& object) const {
  return hasSender == (object != nullptr) && (!hasSender || haveSameOwner(sender, object));
}

void NotificationCenter::add(std::weak_ptr<void> observer, void* address, Handler handler,
                             std::string_view name, const std::shared_ptr<const void>& sender) {
  auto added = std::make_shared<Registration>();
  added->observer = std::move(observer);
  added->address = address;
  added->handler = std::move(handler);
  added->name = name;
  added->hasSender = sender != nullptr;
  added->sender = sender;
  Registrations dead;  // released after the lock: a handler may own what its captures own
  const LockGuard lock(mutex_);
  added->number = ++lastNumber_;
  registrations_.emplace(address, std::move(added));
  if (registrations_.size() >= sweepAt_) dead = takeDead();
}

NotificationCenter::Registrations NotificationCenter::takeDead() {
  Registrations dead;
  std::erase_if(registrations_, [&](const auto& entry) {
    if (entry.second->isDead()) dead.push_back(entry.second);
    return entry.second->isDead();
  });
  sweepAt_ = 2 * registrations_.size() + 64;
  return dead;
}

void NotificationCenter::removeObserver(const void* observer, std::string_view name,
                                        const std::shared_ptr<const void>& sender) {
  removeIf(observer,
           [&](const Registration& each) { return each.name == name && each.isFor(sender); });
}

void NotificationCenter::removeObserver(const void* observer) {
  removeIf(observer, [](const Registration&) { return true; });
}

void NotificationCenter::removeIf(const void* observer,
                                  const std::function<bool(const Registration&)>& matches) {
  Registrations removed;  // released after the lock
  const LockGuard lock(mutex_);
  auto [each, end] = registrations_.equal_range(observer);
  while (each != end) {
    if (!matches(*each->second)) {
      ++each;
      continue;
    }
    each->second->isRemoved = true;
    removed.push_back(each->second);
    each = registrations_.erase(each);
  }
}

void NotificationCenter::post(std::string_view name, const std::shared_ptr<const void>& sender) {
  Registrations matching;
  {
    const LockGuard lock(mutex_);
    for (const auto& [observer, each] : registrations_) {
      if (each->name == name && (!each->hasSender || each->isFor(sender))) matching.push_back(each);
    }
  }
  std::ranges::sort(matching, {}, [](const auto& each) { return each->number; });
  for (const auto& each : matching) {
    const auto observer = each->observer.lock();
    if (observer && !each->isRemoved) each->handler(each->address);
  }
}

}  // namespace tavrin
