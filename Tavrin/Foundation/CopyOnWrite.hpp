#pragma once

#include <atomic>
#include <utility>

namespace tavrin {

/// A value whose copies share storage until one of them is changed.
///
/// Copies may be used on different threads at once; one copy, like any value, may not. Whether the
/// storage is shared is read with acquire ordering, so a change in place happens after every access
/// through the copies that have gone.
template <class Value>
class CopyOnWrite {
 public:
  CopyOnWrite() : box_(new Box) {}
  explicit CopyOnWrite(Value value) : box_(new Box(std::move(value))) {}
  CopyOnWrite(const CopyOnWrite& other) noexcept : box_(other.box_) { retain(); }
  CopyOnWrite& operator=(const CopyOnWrite& other) noexcept {
    CopyOnWrite copy(other);
    std::swap(box_, copy.box_);
    return *this;
  }
  // A move leaves the source sharing the storage, so no copy is ever without a value.
  ~CopyOnWrite() { release(); }

  const Value& operator*() const { return box_->value; }
  const Value* operator->() const { return &box_->value; }

  /// The value for changing in place, copied first when others share it.
  Value& mutate() {
    if (isShared()) *this = CopyOnWrite(box_->value);
    return box_->value;
  }
  bool isShared() const { return box_->owners.load(std::memory_order_acquire) > 1; }

  bool sharesStorageWith(const CopyOnWrite& other) const { return box_ == other.box_; }

 private:
  struct Box {
    Box() = default;
    explicit Box(Value v) : value(std::move(v)) {}
    std::atomic<long> owners{1};
    Value value{};
  };

  void retain() const { box_->owners.fetch_add(1, std::memory_order_relaxed); }
  void release() const {
    if (box_->owners.fetch_sub(1, std::memory_order_acq_rel) == 1) delete box_;
  }

  Box* box_;  // counted; never null
};

}  // namespace tavrin
