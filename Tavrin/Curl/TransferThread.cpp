#include "Platform/Curl/TransferThread.hpp"

#include <pthread.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "Platform/Curl/Transfer.hpp"
#include "Platform/Foundation/FatalError.hpp"

namespace tavrin::curl {

namespace {

// Idle connections kept for the next transfer to the same server.
constexpr long idleConnections = 8;

CURLM* makeMulti() {
  CURLM* multi = curl_multi_init();
  if (multi == nullptr) fatalError("the transfer loop cannot be created");
  curl_multi_setopt(multi, CURLMOPT_MAXCONNECTS, idleConnections);
  return multi;
}

}  // namespace

// Never destroyed, only stopped: sessions may outlive it. It is stopped before the exit handlers
// that curl's own libraries have registered run.
TransferThread& TransferThread::shared() {
  static TransferThread* thread = [] {
    curl_global_init(CURL_GLOBAL_DEFAULT);
    static auto* made = new TransferThread;
    if (std::atexit([] { made->stop(); }) != 0) fatalError("no exit handler can be added");
    return made;
  }();
  return *thread;
}

TransferThread::TransferThread() : multi_(makeMulti()), thread_([this] { run(); }) {}

void TransferThread::stop() {
  {
    const LockGuard lock(mutex_);
    isStopping_ = true;
    curl_multi_wakeup(multi_);
  }
  thread_.join();
  curl_multi_cleanup(multi_);
}

void TransferThread::post(Job job) {
  // The wake-up too is under the lock, so that the loop is not cleaned up meanwhile.
  const LockGuard lock(mutex_);
  if (isStopping_) return;
  jobs_.push_back(std::move(job));
  if (jobs_.size() == 1) curl_multi_wakeup(multi_);
}

void TransferThread::run() {
  pthread_setname_np(pthread_self(), "transfer");
  while (runJobs()) {
    int running = 0;
    curl_multi_perform(multi_, &running);
    runLateJobs();
    endCompleted();
    endSilent();
    curl_multi_poll(multi_, nullptr, 0, pollMilliseconds(), nullptr);
  }
  while (!active_.empty()) remove(active_.begin()->first);
}

// False once the thread is to stop.
bool TransferThread::runJobs() {
  std::deque<Job> jobs;
  bool isStopping = false;
  {
    const LockGuard lock(mutex_);
    jobs.swap(jobs_);
    isStopping = isStopping_;
  }
  if (isStopping) return false;
  for (const auto& job : jobs) job();
  return true;
}

void TransferThread::runLateJobs() {
  for (const auto& job : lateJobs_) job();
  lateJobs_.clear();
}

CURLMcode TransferThread::add(const std::shared_ptr<Transfer>& transfer) {
  const auto result = curl_multi_add_handle(multi_, transfer->handle());
  if (result != CURLM_OK) return result;
  active_.emplace(transfer->handle(), transfer);
  nextSilenceCheck_ = std::min(nextSilenceCheck_, transfer->silentAt());
  return CURLM_OK;
}

void TransferThread::remove(CURL* handle) {
  const auto found = active_.find(handle);
  if (found == active_.end()) return;
  const auto transfer = std::move(found->second);
  active_.erase(found);
  curl_multi_remove_handle(multi_, handle);
  transfer->release();
}

void TransferThread::endCompleted() {
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    const auto result = message->data.result;
    const auto transfer = active_.at(message->easy_handle);
    transfer->end(result);
    remove(message->easy_handle);
  }
}

void TransferThread::endSilent() {
  const auto now = Clock::now();
  if (now < nextSilenceCheck_) return;
  nextSilenceCheck_ = Clock::time_point::max();
  std::deque<std::shared_ptr<Transfer>> silent;
  for (const auto& [handle, transfer] : active_) {
    const auto silentAt = transfer->silentAt();
    if (silentAt <= now) {
      silent.push_back(transfer);
    } else {
      nextSilenceCheck_ = std::min(nextSilenceCheck_, silentAt);
    }
  }
  for (const auto& transfer : silent) {
    transfer->endAsSilent();
    remove(transfer->handle());
  }
}

int TransferThread::pollMilliseconds() const {
  constexpr std::chrono::milliseconds longest = std::chrono::hours(1);
  if (nextSilenceCheck_ == Clock::time_point::max()) return static_cast<int>(longest.count());
  const auto wait = std::chrono::ceil<std::chrono::milliseconds>(nextSilenceCheck_ - Clock::now());
  return static_cast<int>(std::clamp(wait, std::chrono::milliseconds(0), longest).count());
}

}  // namespace tavrin::curl
