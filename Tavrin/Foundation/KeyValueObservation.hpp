#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Tavrin/Foundation/Mutex.hpp"

namespace tavrin {

/// Hears of changes to properties of other objects, or of itself.
class KeyValueObserver {
 public:
  virtual ~KeyValueObserver() = default;
  /// Runs on the thread that changed the property.
  virtual void observeValue(std::string_view keyPath) = 0;
};

/// The observers of one object's properties. Every operation may be called from any thread.
class KeyValueObservers {
 public:
  /// Adds one registration for changes after this call. Nothing is told at once, and nothing is
  /// told to an observer that is gone.
  void add(const std::shared_ptr<KeyValueObserver>& observer, std::string_view keyPath);
  /// Removes the observer's registrations for the property. May be called from its destructor.
  void remove(const KeyValueObserver* observer, std::string_view keyPath);
  /// Tells the observers of the property, on the calling thread.
  void tell(std::string_view keyPath);

 private:
  struct Registration {
    std::weak_ptr<KeyValueObserver> observer;
    const KeyValueObserver* address;
    std::string keyPath;
  };

  Mutex mutex_;
  std::vector<Registration> registrations_ TAVRIN_GUARDED_BY(mutex_);
};

}  // namespace tavrin
