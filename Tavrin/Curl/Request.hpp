#pragma once

#include <curl/curl.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "Tavrin/Foundation/URL.hpp"
#include "Tavrin/Foundation/URLSession.hpp"

namespace tavrin::curl {

/// Takes what curl receives for a request, on the transfer thread.
class RequestReceiver {
 public:
  virtual ~RequestReceiver() = default;
  /// Whole lines of a head or of a trailer: one, or all that came while the transfer was paused.
  /// False to end the transfer.
  virtual bool receiveHeader(std::string_view lines) = 0;
  /// Bytes of a body. False to end the transfer.
  virtual bool receiveBody(std::span<const std::byte> bytes) = 0;
  /// So many bytes of the body at hand have come, also where curl itself drops them. False to end
  /// the transfer.
  virtual bool mayGoOn(std::int64_t bytes) = 0;
};

/// A handle of curl, set up for one GET: what is sent, where it may lead, and through what.
class Request {
 public:
  /// `receiver` outlives the request. Null when memory has run out.
  static std::unique_ptr<Request> make(const URLRequest& asked,
                                       const URLSessionConfiguration& configuration,
                                       RequestReceiver& receiver);
  Request(const Request&) = delete;
  Request& operator=(const Request&) = delete;

  CURL* handle() const { return handle_.get(); }
  /// curl's own words for the failure, empty when it has none.
  std::string_view errorText() const { return errorText_.data(); }
  /// The answer at hand is a redirect: one that came over https may lead to https only.
  void followRedirect();
  /// How many bytes the server may have under way, about; absent for as many as the system likes.
  /// `room` is how many it takes in while nobody reads.
  void setWindow(std::optional<std::int64_t> bytes, std::optional<std::int64_t> room);
  /// How long the answer took to begin, with its connection and without the look-up of its name.
  std::chrono::microseconds delay() const;
  /// No name had been looked up when the transfer ended.
  bool isLookingUpName() const;
  /// Some answer of the transfer came over https.
  bool isSecure() const { return isSecure_; }

 private:
  struct Free {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
  };

  Request() = default;
  bool addHeader(const char* line);
  bool setUp(const URLRequest& asked, const URLSessionConfiguration& configuration);
  bool setRules(const URLSessionConfiguration& configuration);
  bool setReceiver(RequestReceiver& receiver);
  bool isConnected() const;

  std::unique_ptr<curl_slist, Free> headers_;
  std::array<char, CURL_ERROR_SIZE> errorText_{};
  std::unique_ptr<CURL, Free> handle_;
  curl_socket_t socket_ = CURL_SOCKET_BAD;  // the last one that was opened
  bool hasRoom_ = false;                    // that was set
  bool isSecure_ = false;
};

}  // namespace tavrin::curl
