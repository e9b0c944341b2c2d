#include "Tavrin/Curl/TransferThread.hpp"

#include <pthread.h>

#include <algorithm>
#include <exception>
#include <utility>

#include "Tavrin/Curl/Transfer.hpp"
#include "Tavrin/Foundation/FatalError.hpp"

namespace tavrin::curl {

namespace {

// How often a loop that cannot be woken looks for jobs.
constexpr std::chrono::milliseconds deafTurn(20);

CURLM* makeMulti() {
  CURLM* multi = curl_multi_init();
  if (multi == nullptr) fatalError("the transfer loop cannot be created");
  return multi;
}

}  // namespace

// Never destroyed, only stopped: sessions may outlive it. It is stopped before the exit handlers
// that curl's own libraries have registered run.
TransferThread& TransferThread::shared() {
  static TransferThread* thread = [] {
    curl_global_init(CURL_GLOBAL_DEFAULT);
    static auto* made = new TransferThread;
    stopAtExit([](ExitDeadline until) { made->stop(until); });
    return made;
  }();
  return *thread;
}

TransferThread::TransferThread() : process_(processNumber()), multi_(makeMulti()) {}

bool TransferThread::start() {
  if (process_ != processNumber()) return false;
  const LockGuard lock(mutex_);
  return isStopping_ || startOnce();
}

bool TransferThread::startOnce() {
  if (thread_.joinable()) return true;
  try {
    thread_ = std::thread([this] { run(); });
  } catch (const std::exception&) {
    return false;
  }
  return true;
}

// A thread that does not end in time is left, with all that it uses.
void TransferThread::stop(ExitDeadline until) {
  std::thread thread;
  bool hasEnded = false;
  {
    const LockGuard lock(mutex_);
    isStopping_ = true;
    curl_multi_wakeup(multi_);
    thread.swap(thread_);
    while (thread.joinable() && !hasEnded_) {
      if (ended_.wait_until(mutex_, until) == std::cv_status::timeout) break;
    }
    hasEnded = hasEnded_ || !thread.joinable();
  }
  if (!hasEnded) return thread.detach();
  if (thread.joinable()) thread.join();
  curl_multi_cleanup(multi_);
}

void TransferThread::post(Job job) {
  if (process_ != processNumber()) return;
  // The wake-up too is under the lock, so that the loop is not cleaned up meanwhile.
  const LockGuard lock(mutex_);
  if (isStopping_) return;
  static_cast<void>(startOnce());  // without it the job waits for the next one
  jobs_.push_back(std::move(job));
  if (jobs_.size() == 1) curl_multi_wakeup(multi_);
}

// A loop that was made while no descriptor was free has no wake-up.
void TransferThread::restoreHearing() {
  if (!isDeaf_ || !active_.empty()) return;
  const LockGuard lock(mutex_);
  curl_multi_cleanup(multi_);
  multi_ = makeMulti();
  isDeaf_ = curl_multi_wakeup(multi_) != CURLM_OK;
}

void TransferThread::run() {
  pthread_setname_np(pthread_self(), "transfer");
  isDeaf_ = curl_multi_wakeup(multi_) != CURLM_OK;
  while (runJobs()) {
    int running = 0;
    curl_multi_perform(multi_, &running);
    runLateJobs();
    endCompleted();
    endSilent();
    line_.settle();
    restoreHearing();
    curl_multi_poll(multi_, nullptr, 0, pollMilliseconds(), nullptr);
  }
  line_.clear();
  const LockGuard lock(mutex_);
  hasEnded_ = true;
  ended_.notify_all();
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
  if (active_.erase(handle) > 0) curl_multi_remove_handle(multi_, handle);
}

void TransferThread::endCompleted() {
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    const auto result = message->data.result;
    std::shared_ptr(active_.at(message->easy_handle))->complete(result);
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
  for (const auto& transfer : silent) transfer->endAsSilent();
}

int TransferThread::pollMilliseconds() const {
  const std::chrono::milliseconds longest = isDeaf_ ? deafTurn : std::chrono::hours(1);
  const auto next = std::min(nextSilenceCheck_, line_.nextChange().value_or(nextSilenceCheck_));
  if (next == Clock::time_point::max()) return static_cast<int>(longest.count());
  const auto wait = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now());
  return static_cast<int>(std::clamp(wait, std::chrono::milliseconds(0), longest).count());
}

}  // namespace tavrin::curl
