#include "Tavrin/Foundation/DispatchQueue.hpp"

#include <utility>

namespace tavrin {

namespace {

DispatchQueue& makeMain() {
  static auto* queue = new DispatchQueue;
  return *queue;
}

// Made while the library is loaded, so that the loading thread becomes the owner.
[[maybe_unused]] DispatchQueue& mainAtLoad = makeMain();

}  // namespace

DispatchQueue& DispatchQueue::main() { return makeMain(); }

void DispatchQueue::post(Job job) {
  std::function<void()> wakeUp;
  {
    const LockGuard lock(mutex_);
    if (jobs_.empty()) wakeUp = wakeUp_;
    jobs_.push_back(std::move(job));
  }
  changed_.notify_one();
  if (wakeUp) wakeUp();
}

bool DispatchQueue::runOne() {
  Job job;
  {
    const LockGuard lock(mutex_);
    if (jobs_.empty()) return false;
    job = std::move(jobs_.front());
    jobs_.pop_front();
  }
  job();
  return true;
}

// A host that polls once for each wake-up must hear of the jobs that are left, also when one threw.
class DispatchQueue::RingsForTheRest {
 public:
  explicit RingsForTheRest(DispatchQueue& queue) : queue_(queue) {}
  ~RingsForTheRest() {
    std::function<void()> wakeUp;
    {
      const LockGuard lock(queue_.mutex_);
      if (!queue_.jobs_.empty()) wakeUp = queue_.wakeUp_;
    }
    if (wakeUp) wakeUp();
  }
  RingsForTheRest(const RingsForTheRest&) = delete;
  RingsForTheRest& operator=(const RingsForTheRest&) = delete;

 private:
  DispatchQueue& queue_;
};

bool DispatchQueue::poll() {
  std::size_t queued = 0;
  {
    const LockGuard lock(mutex_);
    queued = jobs_.size();
  }
  if (queued == 0) return false;
  const RingsForTheRest ringing(*this);
  while (queued > 0 && runOne()) --queued;
  return true;
}

bool DispatchQueue::runUntil(const std::function<bool()>& done, std::chrono::nanoseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  for (;;) {
    if (done()) return true;
    if (runOne()) {
      if (std::chrono::steady_clock::now() < deadline) continue;
      break;
    }
    const LockGuard lock(mutex_);
    if (!jobs_.empty()) continue;
    if (changed_.wait_until(mutex_, deadline) == std::cv_status::timeout && jobs_.empty()) break;
  }
  return done();
}

void DispatchQueue::run() {
  for (;;) {
    Job job;
    {
      const LockGuard lock(mutex_);
      while (jobs_.empty() && !stopped_) changed_.wait(mutex_);
      if (std::exchange(stopped_, false)) return;
      job = std::move(jobs_.front());
      jobs_.pop_front();
    }
    job();
  }
}

void DispatchQueue::stop() {
  {
    const LockGuard lock(mutex_);
    stopped_ = true;
  }
  changed_.notify_all();
}

void DispatchQueue::setWakeUp(std::function<void()> wakeUp) {
  const LockGuard lock(mutex_);
  wakeUp_ = std::move(wakeUp);
}

}  // namespace tavrin
