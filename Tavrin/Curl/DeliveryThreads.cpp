#include "Tavrin/Curl/DeliveryThreads.hpp"

#include <utility>

namespace tavrin::curl {

namespace {

// Delegates append bytes and, at the end, write a file: a few that wait for the disk leave others.
constexpr std::size_t threads = 4;

}  // namespace

// Never destroyed, only stopped: sessions may outlive it.
DeliveryThreads& DeliveryThreads::shared() {
  static DeliveryThreads* shared = [] {
    static auto* made = new DeliveryThreads;
    stopAtExit([](ExitDeadline until) { made->stop(until); });
    return made;
  }();
  return *shared;
}

DeliveryThreads::DeliveryThreads() : pool_(threads) {}

void DeliveryThreads::post(Job job) {
  {
    const LockGuard lock(mutex_);
    ++unfinished_;
  }
  pool_.post([this, job = std::move(job)]() mutable {
    job();
    job = nullptr;
    finished();
  });
}

void DeliveryThreads::finished() {
  const LockGuard lock(mutex_);
  if (--unfinished_ <= 1) changed_.notify_all();
}

// A serial queue posts its next job from inside the one before, so none is unfinished only when all
// queues are empty: stopping the pool earlier would leave jobs in them that hold their own queue.
void DeliveryThreads::stop(ExitDeadline until) {
  isStopping_ = true;
  const std::size_t own = pool_.isCurrent() ? 1 : 0;  // a delegate ends the process
  {
    const LockGuard lock(mutex_);
    while (unfinished_ > own) {
      if (changed_.wait_until(mutex_, until) == std::cv_status::timeout) break;
    }
  }
  pool_.stop(until);
}

}  // namespace tavrin::curl
