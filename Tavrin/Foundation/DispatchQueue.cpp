#include "Platform/Foundation/DispatchQueue.hpp"

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

bool DispatchQueue::poll() {
  std::size_t queued = 0;
  {
    const LockGuard lock(mutex_);
    queued = jobs_.size();
  }
  const bool hadJobs = queued > 0;
  while (queued > 0 && runOne()) --queued;
  return hadJobs;
}

bool DispatchQueue::runUntil(const std::function<bool()>& done, std::chrono::nanoseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  for (;;) {
    if (done()) return true;
    if (runOne()) continue;
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
