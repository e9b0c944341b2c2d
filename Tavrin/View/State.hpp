#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "Tavrin/Foundation/Mutex.hpp"
#include "Tavrin/View/Binding.hpp"

namespace tavrin {

/// View state: a value that all copies of a view share, the ones that its callbacks hold included.
/// Read on any thread, written on the main queue.
template <class Value>
class State {
 public:
  /// `written` is called after each write, on the thread that wrote: the host renders again.
  explicit State(Value initial, std::function<void()> written = {})
      : storage_(std::make_shared<Storage>(std::move(initial), std::move(written))) {}

  Value get() const { return storage_->get(); }
  void set(Value value) const { storage_->set(std::move(value)); }

  /// Reaches the same storage and keeps it alive.
  Binding<Value> binding() const {
    return {[storage = storage_] { return storage->get(); },
            [storage = storage_](Value value) { storage->set(std::move(value)); }};
  }

 private:
  class Storage {
   public:
    Storage(Value initial, std::function<void()> written)
        : value_(std::move(initial)), written_(std::move(written)) {}

    Value get() {
      const LockGuard lock(mutex_);
      return value_;
    }
    void set(Value value) {
      {
        const LockGuard lock(mutex_);
        value_ = std::move(value);
      }
      if (written_) written_();
    }

   private:
    Mutex mutex_;
    Value value_ TAVRIN_GUARDED_BY(mutex_);
    const std::function<void()> written_;
  };

  std::shared_ptr<Storage> storage_;
};

}  // namespace tavrin
