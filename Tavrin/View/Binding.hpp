#pragma once

#include <functional>
#include <utility>

namespace tavrin {

/// A value that lives elsewhere, read and written through a pair of functions.
/// Copies reach the same value. As safe across threads as the functions are.
template <class Value>
class Binding {
 public:
  Binding(std::function<Value()> get, std::function<void(Value)> set)
      : get_(std::move(get)), set_(std::move(set)) {}

  Value get() const { return get_(); }
  void set(Value value) const { set_(std::move(value)); }

 private:
  std::function<Value()> get_;
  std::function<void(Value)> set_;
};

}  // namespace tavrin
