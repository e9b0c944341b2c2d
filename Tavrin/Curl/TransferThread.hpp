#pragma once

#include <curl/curl.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Tavrin/Curl/TransferLine.hpp"
#include "Tavrin/Foundation/Executor.hpp"
#include "Tavrin/Foundation/Internal/ProcessEnd.hpp"
#include "Tavrin/Foundation/Mutex.hpp"

namespace tavrin::curl {

class Transfer;

/// The process's one transfer thread: it runs the curl loop of all sessions, and jobs between its
/// turns. Joined at exit, in its time; what is still running then is let go unreported.
class TransferThread final : public Executor {
 public:
  using Clock = std::chrono::steady_clock;

  static TransferThread& shared();

  /// Starts the thread, if it does not run yet. False when no thread is to be had, and in a child
  /// of `fork()`: a transfer fails then. Any thread.
  [[nodiscard]] bool start();

  /// Runs the job on the transfer thread. Any thread. Dropped after the stop.
  void post(Job job) override;

  /// Runs the job at the end of the loop's turn. Transfer thread only.
  void afterTurn(Job job) { lateJobs_.push_back(std::move(job)); }

  /// Who may use the link. Transfer thread only.
  TransferLine& line() { return line_; }
  /// Drives a transfer until it ends or is removed. Transfer thread only.
  CURLMcode add(const std::shared_ptr<Transfer>& transfer);
  /// Drives it no more. Transfer thread only, and not from a callback of the transfer.
  void remove(CURL* handle);

 private:
  TransferThread();
  bool startOnce() TAVRIN_REQUIRES(mutex_);
  void stop(ExitDeadline until);
  void run();
  bool runJobs();
  void runLateJobs();
  void restoreHearing();
  void endCompleted();
  void endSilent();
  int pollMilliseconds() const;

  const std::uint64_t process_;
  Mutex mutex_;
  ConditionVariable ended_;
  std::deque<Job> jobs_ TAVRIN_GUARDED_BY(mutex_);
  bool isStopping_ TAVRIN_GUARDED_BY(mutex_) = false;
  bool hasEnded_ TAVRIN_GUARDED_BY(mutex_) = false;
  std::thread thread_ TAVRIN_GUARDED_BY(mutex_);
  // Transfer thread only; the wake-up, which curl allows from any thread, excepted. Replaced under
  // the lock.
  CURLM* multi_;
  bool isDeaf_ = false;
  std::unordered_map<CURL*, std::shared_ptr<Transfer>> active_;
  TransferLine line_;
  std::vector<Job> lateJobs_;
  Clock::time_point nextSilenceCheck_ = Clock::time_point::max();
};

}  // namespace tavrin::curl
