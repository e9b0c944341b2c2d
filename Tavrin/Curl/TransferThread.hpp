#pragma once

#include <curl/curl.h>

#include <chrono>
#include <deque>
#include <memory>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Platform/Foundation/Executor.hpp"
#include "Platform/Foundation/Mutex.hpp"

namespace tavrin::curl {

class Transfer;

/// The process's one transfer thread: it runs the curl loop of all sessions, and jobs between its
/// turns. Started on first use, joined at exit; what is still running then is let go unreported.
class TransferThread final : public Executor {
 public:
  using Clock = std::chrono::steady_clock;

  static TransferThread& shared();

  /// Runs the job on the transfer thread. Any thread. Dropped after the stop.
  void post(Job job) override;

  /// Runs the job at the end of the loop's turn. Transfer thread only.
  void afterTurn(Job job) { lateJobs_.push_back(std::move(job)); }

  /// Drives a transfer until it ends or is removed. Transfer thread only.
  CURLMcode add(const std::shared_ptr<Transfer>& transfer);
  /// Lets go of a transfer. Transfer thread only, and not from a callback of the transfer.
  void remove(CURL* handle);

 private:
  TransferThread();
  void stop();
  void run();
  bool runJobs();
  void runLateJobs();
  void endCompleted();
  void endSilent();
  int pollMilliseconds() const;

  Mutex mutex_;
  std::deque<Job> jobs_ TAVRIN_GUARDED_BY(mutex_);
  bool isStopping_ TAVRIN_GUARDED_BY(mutex_) = false;
  // Transfer thread only; the wake-up, which curl allows from any thread, excepted.
  CURLM* multi_;
  std::unordered_map<CURL*, std::shared_ptr<Transfer>> active_;
  std::vector<Job> lateJobs_;
  Clock::time_point nextSilenceCheck_ = Clock::time_point::max();
  // Touched by the constructor and by stop() alone.
  std::thread thread_;
};

}  // namespace tavrin::curl
