#include "Platform/Foundation/NotificationCenter.hpp"

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
  removeIf([](const Registration& each) { return each.isDead(); });
  const LockGuard lock(mutex_);
  registrations_.push_back(std::move(added));
}

void NotificationCenter::removeObserver(const void* observer, std::string_view name,
                                        const std::shared_ptr<const void>& sender) {
  removeIf([&](const Registration& each) {
    return each.address == observer && each.name == name && each.isFor(sender);
  });
}

void NotificationCenter::removeObserver(const void* observer) {
  removeIf([&](const Registration& each) { return each.address == observer; });
}

void NotificationCenter::removeIf(const std::function<bool(const Registration&)>& matches) {
  Registrations removed;  // released after the lock: a handler may own what its captures own
  const LockGuard lock(mutex_);
  std::erase_if(registrations_, [&](const std::shared_ptr<Registration>& each) {
    if (!matches(*each)) return false;
    each->isRemoved = true;
    removed.push_back(each);
    return true;
  });
}

void NotificationCenter::post(std::string_view name, const std::shared_ptr<const void>& sender) {
  Registrations matching;
  {
    const LockGuard lock(mutex_);
    std::ranges::copy_if(registrations_, std::back_inserter(matching), [&](const auto& each) {
      return each->name == name && (!each->hasSender || each->isFor(sender));
    });
  }
  for (const auto& each : matching) {
    const auto observer = each->observer.lock();
    if (observer && !each->isRemoved) each->handler(each->address);
  }
}

}  // namespace tavrin
