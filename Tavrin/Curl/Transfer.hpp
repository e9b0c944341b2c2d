#pragma once

#include <curl/curl.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Tavrin/Curl/ReceiveWindow.hpp"
#include "Tavrin/Curl/Request.hpp"
#include "Tavrin/Curl/TransferClient.hpp"
#include "Tavrin/Curl/TransferLimits.hpp"
#include "Tavrin/Curl/TransferThread.hpp"
#include "Tavrin/Foundation/URL.hpp"
#include "Tavrin/Foundation/URLSession.hpp"

namespace tavrin::curl {

/// One GET over curl, and the judgement of how it ended.
class Transfer final : private RequestReceiver, public std::enable_shared_from_this<Transfer> {
 public:
  static std::shared_ptr<Transfer> make(const URLRequest& asked,
                                        const URLSessionConfiguration& configuration,
                                        const TransferLimits& limits);

  /// Starts the transfer, which keeps its client until it ends. Once. Any thread.
  void start(std::shared_ptr<TransferClient> client);
  /// From 0 to 1. Any thread, before the start as well.
  void setPriority(double priority);
  /// The client has room again. Any thread.
  void proceed();
  /// Ends the transfer without telling the client. Any thread; before the start, it never starts.
  void stop();

  // For the transfer thread.

  /// Null before the transfer has begun and once it is over.
  CURL* handle() const { return request_ == nullptr ? nullptr : request_->handle(); }
  TransferThread::Clock::time_point silentAt() const;
  /// Connects, or ends with what stands against it.
  void open();
  /// A held transfer keeps its connection, and nothing is read from it.
  void setHeld(bool isHeld);
  /// Ends as curl has ended, or waits in line for another connection.
  void complete(CURLcode result);
  void endAsSilent();
  /// Lets go of the connection, the place in line and the client.
  void leave();

 private:
  using Clock = TransferThread::Clock;

  Transfer(URLRequest asked, const URLSessionConfiguration& configuration,
           const TransferLimits& limits)
      : asked_(std::move(asked)), configuration_(configuration), limits_(limits) {}

  void begin(std::shared_ptr<TransferClient> client);
  void end(CURLcode result);
  void endWith(Error reason);
  bool mayStartAgain(CURLcode result) const;
  void startAgain();
  void pauseOrGoOn();
  void setWindow();
  std::optional<Error> unsupportedScheme() const;
  bool receiveHeader(std::string_view lines) override;
  bool receiveBody(std::span<const std::byte> bytes) override;
  bool mayGoOn(std::int64_t bytes) override;
  bool receiveLine(std::string_view line);
  bool endHead();
  bool tell(const URLResponse& response);
  /// Keeps the first reason of our own to end, which curl's does not replace. Returns false.
  bool fail(Error reason);
  std::optional<Error> judge(CURLcode result) const;

  // Never change.
  const URLRequest asked_;
  const URLSessionConfiguration configuration_;
  const TransferLimits limits_;

  // Transfer thread only.
  std::shared_ptr<TransferClient> client_;
  std::unique_ptr<Request> request_;
  std::string server_;
  ReceiveWindow window_;
  std::optional<Error> failure_;
  std::optional<URLResponse> told_;  // to the client, of an earlier start too
  std::int64_t headBytes_ = 0;
  std::int64_t receivedBytes_ = 0;
  Clock::time_point lastProgress_;  // a byte of the body; before that, the head awaited
  double priority_ = 0.5;
  TransferLine::Id place_ = 0;  // 0 before the start
  int restarts_ = 0;
  bool hasResponse_ = false;
  bool isFull_ = false;   // the client wants no more for now
  bool isHeld_ = false;   // others need the link
  bool wasHeld_ = false;  // since the last sign of the server
  bool isOver_ = false;
};

}  // namespace tavrin::curl
