#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <utility>

namespace tavrin {

/// Keeps an observer registered for as long as it lives. Dropping it at once observes nothing.
class [[nodiscard]] Observation {
 public:
  Observation() = default;
  explicit Observation(std::shared_ptr<void> registration)
      : registration_(std::move(registration)) {}
  void cancel() { registration_.reset(); }

 private:
  std::shared_ptr<void> registration_;
};

/// While it lives, keeps what observers of its thread throw, so that a change of the state is
/// completed before anybody hears of it.
class ObserverExceptions {
 public:
  ObserverExceptions() : outer_(std::exchange(current_, this)) {}
  ~ObserverExceptions() { current_ = outer_; }
  ObserverExceptions(const ObserverExceptions&) = delete;
  ObserverExceptions& operator=(const ObserverExceptions&) = delete;

  /// Null when none has thrown.
  std::exception_ptr first() const { return first_; }

 private:
  friend class ObservationRegistrar;

  static void keepOrRethrow(const std::exception_ptr& thrown);

  static thread_local ObserverExceptions* current_;
  ObserverExceptions* const outer_;
  std::exception_ptr first_;
};

/// Who observes one field. Belongs to the thread that owns the state.
///
/// Bookkeeping, not a part of the value: copies begin without observers, and all compare equal. To
/// copy is to read: a copy made while its fields are tracked stands for what it was copied from.
class ObservationRegistrar {
 public:
  ObservationRegistrar() = default;
  ObservationRegistrar(const ObservationRegistrar& other) { other.access(); }
  ObservationRegistrar& operator=(const ObservationRegistrar&) { return *this; }
  bool operator==(const ObservationRegistrar&) const { return true; }

  /// Calls `handler` after each change, until the result is cancelled or destroyed. The handler may
  /// cancel any observation, its own included, and may add others, which hear of later changes.
  /// When it throws the others are still told; the first exception then leaves the change, or, in
  /// a reducer, the `Store::send` that it was for.
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
  [[nodiscard]] explicit ObservationTracker(std::function<void()> onChange);
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
