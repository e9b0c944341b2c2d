#include "Platform/Foundation/Executor.hpp"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "Platform/Foundation/FatalError.hpp"

namespace tavrin {

namespace {

// Whole-file reads block a thread, so there are more threads than cores.
std::size_t sharedThreads() {
  return std::max<std::size_t>(4, std::thread::hardware_concurrency());
}

// Never destroyed, only stopped: static objects that outlive the drain may still post to it.
ThreadPool& sharedPool() {
  static ThreadPool* pool = [] {
    static auto* made = new ThreadPool(sharedThreads());
    if (std::atexit([] { made->stop(); }) != 0) fatalError("no exit handler can be added");
    return made;
  }();
  return *pool;
}

}  // namespace

Executor& Executor::shared() { return sharedPool(); }

ThreadPool::ThreadPool(std::size_t threads) {
  for (std::size_t i = 0; i < threads; ++i) threads_.emplace_back([this] { work(); });
}

void ThreadPool::post(Job job) {
  {
    const LockGuard lock(mutex_);
    if (isDrained()) return;
    jobs_.push_back(std::move(job));
  }
  changed_.notify_one();
}

void ThreadPool::stop() {
  {
    const LockGuard lock(mutex_);
    stopping_ = true;
  }
  changed_.notify_all();
  for (auto& thread : threads_) thread.join();
  threads_.clear();
}

// A job that runs may still post the next one, as serial queues do.
bool ThreadPool::isDrained() const { return stopping_ && jobs_.empty() && running_ == 0; }

void ThreadPool::work() {
  for (;;) {
    Job job;
    {
      const LockGuard lock(mutex_);
      while (jobs_.empty() && !isDrained()) changed_.wait(mutex_);
      if (jobs_.empty()) return;
      job = std::move(jobs_.front());
      jobs_.pop_front();
      ++running_;
    }
    job();
    job = nullptr;
    {
      const LockGuard lock(mutex_);
      --running_;
      if (!isDrained()) continue;
    }
    changed_.notify_all();
  }
}

std::shared_ptr<SerialQueue> SerialQueue::make(Executor& target) {
  return std::shared_ptr<SerialQueue>(new SerialQueue(target));
}

void SerialQueue::post(Job job) {
  {
    const LockGuard lock(mutex_);
    jobs_.push_back(std::move(job));
    if (std::exchange(isScheduled_, true)) return;
  }
  schedule();
}

void SerialQueue::schedule() {
  target_.post([self = shared_from_this()] { self->runOne(); });
}

// One job a turn, so that many serial queues share a target fairly.
void SerialQueue::runOne() {
  Job job;
  {
    const LockGuard lock(mutex_);
    job = std::move(jobs_.front());
    jobs_.pop_front();
  }
  job();
  job = nullptr;
  {
    const LockGuard lock(mutex_);
    isScheduled_ = !jobs_.empty();
    if (!isScheduled_) return;
  }
  schedule();
}

}  // namespace tavrin
