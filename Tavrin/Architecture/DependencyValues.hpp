#pragma once

#include <any>
#include <concepts>
#include <functional>
#include <memory>
#include <optional>
#include <typeindex>
#include <unordered_map>
#include <utility>

#include "Tavrin/Foundation/Mutex.hpp"

namespace tavrin {

/// Which of a key's values a program gets when nobody has set another.
enum class DependencyContext { live, preview, test };

/// Names an entry of the registry and says what it holds in a running program. A key may also have
/// a `previewValue()`; without one it is the live value.
template <class Key>
concept DependencyKey = requires {
  typename Key::Value;
  { Key::liveValue() } -> std::convertible_to<typename Key::Value>;
};

/// A key that also says what the entry holds under test.
template <class Key>
concept TestDependencyKey = DependencyKey<Key> && requires {
  { Key::testValue() } -> std::convertible_to<typename Key::Value>;
};

/// A registry of the things that a program's parts depend on, one entry per key. Copies are handles
/// to the same entries. Any thread.
class DependencyValues {
 public:
  /// The registry in force on the calling thread: that of the innermost `withDependencies`, or the
  /// process's own, whose context is live.
  static DependencyValues current();

  /// The entry's value; made from the key on the first reading when nobody has set one.
  template <DependencyKey Key>
  std::shared_ptr<const typename Key::Value> get() const {
    const auto made = [](DependencyContext context) -> std::any {
      return std::make_shared<const typename Key::Value>(defaultValue<Key>(context));
    };
    return std::any_cast<std::shared_ptr<const typename Key::Value>>(
        scope_->find(typeid(Key), made));
  }
  /// Replaces the entry's value for everybody who reads this registry, from the next reading on.
  template <DependencyKey Key>
  void set(typename Key::Value value) {
    scope_->set(typeid(Key), std::make_shared<const typename Key::Value>(std::move(value)));
  }
  /// Entries that have been read or set keep their values.
  void setContext(DependencyContext context) { scope_->setContext(context); }

 private:
  template <class Update, class Operation>
  friend auto withDependencies(Update&& update, Operation&& operation);

  using Make = std::function<std::any(DependencyContext)>;

  class Scope {
   public:
    explicit Scope(std::shared_ptr<Scope> outer) : outer_(std::move(outer)) {}
    std::any find(std::type_index key, const Make& make);
    void set(std::type_index key, std::any value);
    void setContext(DependencyContext context);

   private:
    const std::shared_ptr<Scope> outer_;  // absent for the process's own
    Mutex mutex_;
    std::unordered_map<std::type_index, std::any> entries_ TAVRIN_GUARDED_BY(mutex_);
    // Absent: the outer scope's context holds.
    std::optional<DependencyContext> context_ TAVRIN_GUARDED_BY(mutex_);
  };

  /// Puts a new scope in force on the calling thread while it lives.
  class Override {
   public:
    Override();
    ~Override();
    Override(const Override&) = delete;
    Override& operator=(const Override&) = delete;
    DependencyValues values() const { return DependencyValues(scope_); }

   private:
    std::shared_ptr<Scope> scope_;
    std::shared_ptr<Scope> outer_;
  };

  explicit DependencyValues(std::shared_ptr<Scope> scope) : scope_(std::move(scope)) {}

  template <class Key>
  static typename Key::Value defaultValue(DependencyContext context) {
    if constexpr (TestDependencyKey<Key>) {
      if (context == DependencyContext::test) return Key::testValue();
    }
    if constexpr (requires { Key::previewValue(); }) {
      if (context == DependencyContext::preview) return Key::previewValue();
    }
    return Key::liveValue();
  }

  std::shared_ptr<Scope> scope_;
};

/// Calls `operation` with a registry in force in which `update` has replaced entries; the others
/// are those in force outside. What is made inside keeps reading that registry.
template <class Update, class Operation>
auto withDependencies(Update&& update, Operation&& operation) {
  const DependencyValues::Override scope;
  auto values = scope.values();
  std::forward<Update>(update)(values);
  return std::forward<Operation>(operation)();
}

/// One entry of the registry that was in force when this was made, read anew each time. Any thread.
template <DependencyKey Key>
class Dependency {
 public:
  std::shared_ptr<const typename Key::Value> operator()() const { return values_.get<Key>(); }

 private:
  DependencyValues values_ = DependencyValues::current();
};

}  // namespace tavrin
