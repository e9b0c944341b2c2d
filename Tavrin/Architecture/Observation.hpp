#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <utility>

namespace tavrin {

/// Keeps an observer registered for as long as it lives.
class Observation {
 public:
  Observation() = default;
  explicit Observation(std::shared_ptr<void> registration)
      : registration_(std::move(registration)) {}
  void cancel() { registration_.reset(); }

 private:
  std::shared_ptr<void> registration_;
};

/// Who observes one field. Belongs to the thread that owns the state.
///
/// Bookkeeping, not a part of the value: copies begin without observers, and all compare equal.
class ObservationRegistrar {
 public:
  ObservationRegistrar() = default;
  ObservationRegistrar(const ObservationRegistrar&) {}
  ObservationRegistrar& operator=(const ObservationRegistrar&) { return *this; }
  bool operator==(const ObservationRegistrar&) const { return true; }

  /// Calls `handler` after each change, until the result is cancelled or destroyed. The handler may
  /// cancel any observation, its own included, and may add others, which hear of later changes.
  Observation observe(std::function<void()> handler) const;

  /// Notes that the field is read, for `withObservationTracking`.
  void access() const;
  void didModify() const {
    if (observers_) tell();
  }

 private:
  friend class ObservationTracker;
  struct Observers;

  void track() const;
  void tell() const;

  mutable std::shared_ptr<Observers> observers_;  // made with the first observer
};

/// While it lives, collects the fields that its thread reads; calls `onChange` once, when the first
/// of them changes.
class ObservationTracker {
 public:
  explicit ObservationTracker(std::function<void()> onChange);
  ~ObservationTracker() { current_ = outer_; }
  ObservationTracker(const ObservationTracker&) = delete;
  ObservationTracker& operator=(const ObservationTracker&) = delete;

  /// The innermost tracker of the calling thread, or null.
  static const ObservationTracker* current() { return current_; }

 private:
  friend class ObservationRegistrar;

  static thread_local ObservationTracker* current_;
  ObservationTracker* const outer_;
  // Empty once it has been called.
  const std::shared_ptr<std::function<void()>> onChange_;
};

inline void ObservationRegistrar::access() const {
  if (ObservationTracker::current()) track();
}

/// Calls `apply`, returns its result, and calls `onChange` once, when a field that `apply` read is
/// changed for the first time.
template <class Apply>
auto withObservationTracking(Apply&& apply, std::function<void()> onChange) {
  const ObservationTracker tracker(std::move(onChange));
  return std::forward<Apply>(apply)();
}

/// One field of an observable state. Every assignment is told to the field's observers, an equal
/// value included; a change in place is told once, when it is complete.
template <class Value>
class Observed {
 public:
  Observed() = default;
  Observed(Value value) : value_(std::move(value)) {}  // NOLINT: a field reads like its value
  Observed(const Observed& other) = default;
  Observed& operator=(const Observed& other) { return *this = other.value_; }
  Observed& operator=(Value value) {
    modify([&](Value& current) { current = std::move(value); });
    return *this;
  }

  const Value& operator()() const {
    registrar_.access();
    return value_;
  }

  template <class Change>
  void modify(Change&& change) {
    std::forward<Change>(change)(value_);
    registrar_.didModify();
  }

  Observation observe(std::function<void()> handler) const {
    return registrar_.observe(std::move(handler));
  }

  friend bool operator==(const Observed& a, const Observed& b) { return a() == b(); }

 private:
  Value value_{};
  ObservationRegistrar registrar_;
};

/// Tells one observable state from another. Copies of a state share it.
class ObservableStateId {
 public:
  ObservableStateId();
  /// An identity, not a part of the value: states with different identities may be equal.
  bool operator==(const ObservableStateId&) const { return true; }
  std::uint64_t number() const { return number_; }

 private:
  std::uint64_t number_;
};

}  // namespace tavrin
