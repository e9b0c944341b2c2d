#pragma once

#include <functional>

#include "Tavrin/Foundation/Mutex.hpp"

namespace tavrin {

/// What the process uses sound for. Any thread.
class AVAudioSession {
 public:
  enum class Category { ambient, playback };
  /// Carries a category out on the host's sound system; returns whether it could.
  using Hook = std::function<bool(Category)>;

  static AVAudioSession& sharedInstance();

  /// Keeps the category and passes it to the hook, on the calling thread. Returns what the hook
  /// says, true without one.
  bool setCategory(Category category);
  /// The last category given; ambient before the first.
  Category category() const;
  /// An empty hook removes it.
  void setHook(Hook hook);

 private:
  mutable Mutex mutex_;
  Category category_ TAVRIN_GUARDED_BY(mutex_) = Category::ambient;
  Hook hook_ TAVRIN_GUARDED_BY(mutex_);
};

}  // namespace tavrin
