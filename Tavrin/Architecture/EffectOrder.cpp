#include "Tavrin/Architecture/EffectOrder.hpp"

#include <algorithm>
#include <deque>

#include "Tavrin/Foundation/Mutex.hpp"

namespace tavrin {

struct EffectOrder::Entry {
  Entry(std::shared_ptr<Line> l, bool n) : line(std::move(l)), isNext(n) {}
  ~Entry();
  Entry(const Entry&) = delete;
  Entry& operator=(const Entry&) = delete;

  const std::shared_ptr<Line> line;
  const bool isNext;
  // Guarded by the line's lock.
  std::coroutine_handle<> waiting;
  Executor* executor = nullptr;
};

// The entries are known by address: each leaves before it is gone.
class EffectOrder::Line {
 public:
  void add(Entry& entry) {
    const LockGuard lock(mutex_);
    auto at = entries_.end();
    if (entry.isNext && !entries_.empty()) {
      at = std::find_if(entries_.begin() + 1, entries_.end(),
                        [](const Entry* each) { return !each->isNext; });
    }
    entries_.insert(at, &entry);
  }

  // False when it is the entry's turn already, or when it has left.
  bool wait(Entry& entry, std::coroutine_handle<> effect, Executor& executor) {
    const LockGuard lock(mutex_);
    if (entries_.empty() || entries_.front() == &entry) return false;
    if (std::ranges::find(entries_, &entry) == entries_.end()) return false;
    entry.waiting = effect;
    entry.executor = &executor;
    return true;
  }

  void leave(Entry& entry) {
    std::coroutine_handle<> effect;
    Executor* executor = nullptr;
    {
      const LockGuard lock(mutex_);
      std::erase(entries_, &entry);
      if (entries_.empty()) return;
      effect = std::exchange(entries_.front()->waiting, nullptr);
      executor = entries_.front()->executor;
    }
    if (effect) executor->post([effect] { effect.resume(); });
  }

 private:
  Mutex mutex_;
  std::deque<Entry*> entries_ TAVRIN_GUARDED_BY(mutex_);
};

EffectOrder::Entry::~Entry() { line->leave(*this); }

EffectOrder::EffectOrder() : line_(std::make_shared<Line>()) {}

EffectOrder::Place EffectOrder::last() const { return add(false); }

EffectOrder::Place EffectOrder::next() const { return add(true); }

EffectOrder::Place EffectOrder::add(bool isNext) const {
  auto place = std::make_shared<Entry>(line_, isNext);
  line_->add(*place);
  return place;
}

EffectOrder::Turn::~Turn() {
  if (place_) place_->line->leave(*place_);
}

// Once the effect waits, another thread may resume it, so this object may be gone.
bool EffectOrder::Turn::await_suspend(std::coroutine_handle<> effect) {
  if (!place_) return false;
  const auto line = place_->line;
  return line->wait(*place_, effect, executor_);
}

}  // namespace tavrin
