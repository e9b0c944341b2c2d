#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Tavrin/Foundation/Mutex.hpp"

namespace tavrin {

/// Tells registered observers of named events. Every operation may be called from any thread.
///
/// Observers and senders are known by ownership, not by address: a registration delivers nothing to
/// an observer that is gone, and one made for a sender that is gone never matches a later object
/// that happens to lie at the same address.
class NotificationCenter {
 public:
  static NotificationCenter& defaultCenter();

  /// Has `handler` called with the observer whenever `sender` posts `name`; without a sender,
  /// whoever posts it. Each call adds one more registration, and each registration is one delivery.
  template <class Observer>
  void addObserver(const std::shared_ptr<Observer>& observer, void (*handler)(Observer&),
                   std::string_view name, const std::shared_ptr<const void>& sender = nullptr) {
    add(
        observer, observer.get(),
        [handler](void* object) { handler(*static_cast<Observer*>(object)); }, name, sender);
  }

  /// Removes the observer's registrations for a name and a sender; an absent sender removes those
  /// made without one.
  void removeObserver(const void* observer, std::string_view name,
                      const std::shared_ptr<const void>& sender);
  /// Removes all registrations of the observer. May be called from its destructor.
  void removeObserver(const void* observer);

  /// Calls the handlers, in order of registration, on the calling thread, and holds each observer
  /// while its handler runs. A registration removed meanwhile is passed over.
  void post(std::string_view name, const std::shared_ptr<const void>& sender);

 private:
  using Handler = std::function<void(void*)>;
  struct Registration {
    std::uint64_t number;  // in the order of registration
    std::weak_ptr<void> observer;
    void* address;  // of the observer, as the handler knows it
    Handler handler;
    std::string name;
    bool hasSender;
    std::weak_ptr<const void> sender;
    std::atomic<bool> isRemoved{false};

    bool isFor(const std::shared_ptr<const void>& object) const;
    bool isDead() const { return observer.expired() || (hasSender && sender.expired()); }
  };
  using Registrations = std::vector<std::shared_ptr<Registration>>;
  using ByObserver = std::unordered_multimap<const void*, std::shared_ptr<Registration>>;

  void add(std::weak_ptr<void> observer, void* address, Handler handler, std::string_view name,
           const std::shared_ptr<const void>& sender);
  void removeIf(const void* observer, const std::function<bool(const Registration&)>& matches);
  Registrations takeDead() TAVRIN_REQUIRES(mutex_);

  Mutex mutex_;
  ByObserver registrations_ TAVRIN_GUARDED_BY(mutex_);
  std::uint64_t lastNumber_ TAVRIN_GUARDED_BY(mutex_) = 0;
  // Dead registrations are swept when the table has doubled, so that adding stays cheap.
  std::size_t sweepAt_ TAVRIN_GUARDED_BY(mutex_) = 64;
};

}  // namespace tavrin
