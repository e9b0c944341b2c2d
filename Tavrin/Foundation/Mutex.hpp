#pragma once

#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define TAVRIN_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define TAVRIN_THREAD_ATTRIBUTE(x)
#endif

/// The field may be touched only while the named mutex is held.
#define TAVRIN_GUARDED_BY(mutex) TAVRIN_THREAD_ATTRIBUTE(guarded_by(mutex))
/// The function may be called only while the named mutex is held.
#define TAVRIN_REQUIRES(...) TAVRIN_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
/// The function must not be called while the named mutex is held.
#define TAVRIN_EXCLUDES(...) TAVRIN_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))

namespace tavrin {

/// `std::mutex` in the form that clang's thread-safety analysis understands.
class TAVRIN_THREAD_ATTRIBUTE(capability("mutex")) Mutex {
 public:
  void lock() TAVRIN_THREAD_ATTRIBUTE(acquire_capability()) { mutex_.lock(); }
  void unlock() TAVRIN_THREAD_ATTRIBUTE(release_capability()) { mutex_.unlock(); }

 private:
  std::mutex mutex_;
};

/// Holds a `Mutex` for a scope.
class TAVRIN_THREAD_ATTRIBUTE(scoped_lockable) LockGuard {
 public:
  [[nodiscard]] explicit LockGuard(Mutex& mutex) TAVRIN_THREAD_ATTRIBUTE(acquire_capability(mutex))
      : mutex_(mutex) {
    mutex_.lock();
  }
  ~LockGuard() TAVRIN_THREAD_ATTRIBUTE(release_capability()) { mutex_.unlock(); }
  LockGuard(const LockGuard&) = delete;
  LockGuard& operator=(const LockGuard&) = delete;

 private:
  Mutex& mutex_;
};

/// Waits on a `Mutex` that the caller holds.
using ConditionVariable = std::condition_variable_any;

}  // namespace tavrin
