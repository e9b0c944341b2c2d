#pragma once

#include <atomic>
#include <memory>

#include "Tavrin/Curl/CurlSession.hpp"
#include "Tavrin/Curl/Inbox.hpp"
#include "Tavrin/Curl/Transfer.hpp"
#include "Tavrin/Curl/TransferClient.hpp"
#include "Tavrin/Foundation/Mutex.hpp"
#include "Tavrin/Foundation/URLSession.hpp"

namespace tavrin::curl {

/// Takes a transfer's bytes on the transfer thread and hands them to the session's delegate on the
/// session's queue.
class CurlDataTask final : public URLSessionDataTask,
                           public TransferClient,
                           public std::enable_shared_from_this<CurlDataTask> {
 public:
  static std::shared_ptr<CurlDataTask> make(std::shared_ptr<CurlSession> session,
                                            std::shared_ptr<Transfer> transfer,
                                            const TransferLimits& limits);

  void resume() override;
  void suspend() override;
  void setPriority(double priority) override;
  /// Ends the transfer; the delegate hears nothing more. Any thread.
  void cancel();

  void transferReceived(const URLResponse& response) override;
  bool transferReceived(std::span<const std::byte> bytes) override;
  void transferEnded(const std::optional<Error>& error) override;

 private:
  CurlDataTask(std::shared_ptr<CurlSession> session, std::shared_ptr<Transfer> transfer,
               const TransferLimits& limits)
      : session_(std::move(session)), transfer_(std::move(transfer)), inbox_(limits) {}

  bool isSuspended() const;
  std::shared_ptr<CurlDataTask> takeSuspended();
  void scheduleTurn();
  void takeTurn();
  void deliver(URLSessionDataDelegate& delegate, const Inbox::Event& event);
  bool deliverResponse(URLSessionDataDelegate& delegate, const URLResponse& response);
  void deliverEnd(URLSessionDataDelegate& delegate, const std::optional<Error>& error);

  // Never change.
  const std::shared_ptr<CurlSession> session_;
  const std::shared_ptr<Transfer> transfer_;

  std::atomic<bool> isStarted_ = false;
  Inbox inbox_;
  mutable Mutex mutex_;
  std::shared_ptr<CurlDataTask> suspended_ TAVRIN_GUARDED_BY(mutex_);  // itself, while it is that
  bool isCancelled_ TAVRIN_GUARDED_BY(mutex_) = false;
};

}  // namespace tavrin::curl
