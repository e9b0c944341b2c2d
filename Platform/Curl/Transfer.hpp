#pragma once

#include <curl/curl.h>

#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Platform/Curl/TransferClient.hpp"
#include "Platform/Curl/TransferLimits.hpp"
#include "Platform/Curl/TransferThread.hpp"
#include "Platform/Foundation/URL.hpp"
#include "Platform/Foundation/URLSession.hpp"

namespace tavrin::curl {

/// One GET over curl, and the judgement of how it ended.
class Transfer final : public std::enable_shared_from_this<Transfer> {
 public:
  static std::shared_ptr<Transfer> make(const URL& url,
                                        const URLSessionConfiguration& configuration,
                                        const TransferLimits& limits);

  /// Starts the transfer, which keeps its client until it ends. Once. Any thread.
  void start(std::shared_ptr<TransferClient> client);
  /// The client has room again. Any thread.
  void proceed();
  /// Ends the transfer without telling the client. Any thread; before the start, it never starts.
  void stop();

  // For the transfer thread.

  CURL* handle() const { return handle_.get(); }
  TransferThread::Clock::time_point silentAt() const;
  void end(CURLcode result);
  void endAsSilent();
  void release();

 private:
  struct Free {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
  };
  using Clock = TransferThread::Clock;

  Transfer(URL url, const URLSessionConfiguration& configuration, const TransferLimits& limits)
      : url_(std::move(url)), configuration_(configuration), limits_(limits) {}

  void begin(std::shared_ptr<TransferClient> client);
  CURLcode configure();
  std::optional<std::string> unsupportedScheme() const;
  bool receiveHeader(std::string_view line);
  std::size_t receiveBody(std::span<const std::byte> bytes);
  void fail(std::string description);
  std::optional<Error> judge(CURLcode result) const;

  // Never change.
  const URL url_;
  const URLSessionConfiguration configuration_;
  const TransferLimits limits_;

  // Transfer thread only.
  std::shared_ptr<TransferClient> client_;
  std::unique_ptr<curl_slist, Free> headers_;
  std::unique_ptr<CURL, Free> handle_;
  std::array<char, CURL_ERROR_SIZE> errorText_{};
  std::optional<std::string> failure_;  // our own reason to end, which curl's does not replace
  std::int64_t receivedBytes_ = 0;
  Clock::time_point lastByte_;
  bool hasResponse_ = false;
  bool isPaused_ = false;
  bool isOver_ = false;
};

}  // namespace tavrin::curl
