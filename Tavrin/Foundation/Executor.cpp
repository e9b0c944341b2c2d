#include "Tavrin/Foundation/Executor.hpp"

#include <algorithm>
#include <exception>
#include <utility>

#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/Foundation/Internal/ProcessEnd.hpp"

namespace tavrin {

namespace {

// Opening a file may block a thread, so there are more threads than cores.
std::size_t sharedThreads() {
  return std::max<std::size_t>(4, std::thread::hardware_concurrency());
}

// As many as a disk has use for at once.
constexpr std::size_t fileThreads = 4;

// Never destroyed, only stopped: static objects that outlive the drain may still post to it.
ThreadPool& sharedPool() {
  static ThreadPool* pool = [] {
    static auto* made = new ThreadPool(sharedThreads());
    stopAtExit([](ExitDeadline until) { made->stop(until); });
    return made;
  }();
  return *pool;
}

ThreadPool& filePool() {
  static ThreadPool* pool = [] {
    static auto* made = new ThreadPool(fileThreads);
    stopAtExit([](ExitDeadline until) { made->stop(until); });
    return made;
  }();
  return *pool;
}

}  // namespace

Executor& Executor::shared() { return sharedPool(); }
Executor& Executor::files() { return filePool(); }

ThreadPool::ThreadPool(std::size_t threads) : wanted_(threads), process_(processNumber()) {
  const LockGuard lock(mutex_);
  threads_.reserve(wanted_);
  startThreads();
}

// std::thread says with an exception that there is no thread, or no memory for one, to be had.
void ThreadPool::startThreads() {
  try {
    while (threads_.size() < wanted_) {
      threads_.emplace_back([this] { work(); });
      ++working_;
    }
  } catch (const std::exception&) {  // NOLINT: the next job asks again
  }
}

void ThreadPool::post(Job job) {
  if (process_ != processNumber()) return;
  {
    const LockGuard lock(mutex_);
    if (isOver()) return;
    if (threads_.size() < wanted_ && !stopping_) startThreads();
    if (working_ > 0) jobs_.push_back(std::exchange(job, nullptr));
  }
  if (job) return DispatchQueue::main().async(std::move(job));
  changed_.notify_one();
}

bool ThreadPool::isCurrent() const {
  const LockGuard lock(mutex_);
  const auto isSelf = [](const auto& each) { return each.get_id() == std::this_thread::get_id(); };
  return std::ranges::any_of(threads_, isSelf);
}

void ThreadPool::stop(Clock::time_point until) {
  std::vector<std::thread> threads;
  if (process_ != processNumber()) {
    // What stood for the parent's threads can be neither joined nor destroyed. The lock may be held
    // for ever, and nobody else is here.
    auto* const left = &threads_;
    static_cast<void>(new auto(std::move(*left)));
    return;
  }
  const bool isEnding = isCurrent();
  bool haveEnded = false;
  {
    const LockGuard lock(mutex_);
    stopping_ = true;
    ending_ = isEnding ? 1 : 0;
    changed_.notify_all();
    while (working_ > ending_) {
      if (changed_.wait_until(mutex_, until) == std::cv_status::timeout) break;
    }
    isLeft_ = true;
    haveEnded = working_ <= ending_;
    threads.swap(threads_);
  }
  for (auto& thread : threads) {
    const bool isSelf = thread.get_id() == std::this_thread::get_id();
    haveEnded && !isSelf ? thread.join() : thread.detach();
  }
}

// A job that runs may still post the next one, as serial queues do.
bool ThreadPool::isOver() const {
  return isLeft_ || (stopping_ && jobs_.empty() && running_ <= ending_);
}

void ThreadPool::work() {
  for (;;) {
    Job job;
    {
      const LockGuard lock(mutex_);
      while (jobs_.empty() && !isOver()) changed_.wait(mutex_);
      if (isOver()) {
        --working_;
        changed_.notify_all();
        return;
      }
      job = std::move(jobs_.front());
      jobs_.pop_front();
      ++running_;
    }
    job();
    job = nullptr;
    {
      const LockGuard lock(mutex_);
      --running_;
      if (!isOver()) continue;
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
