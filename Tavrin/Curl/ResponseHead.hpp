#pragma once

#include <curl/curl.h>

#include <optional>

#include "Tavrin/Curl/TransferLimits.hpp"
#include "Tavrin/Foundation/Error.hpp"
#include "Tavrin/Foundation/URLSession.hpp"

namespace tavrin::curl {

/// The status and headers of the answer that a handle is receiving, complete at the end of headers.
struct ResponseHead {
  long status = 0;
  URLResponse response;
  /// Why the body is not the resource that was asked for. Absent when it is.
  std::optional<Error> objection;

  static ResponseHead read(CURL* handle, const URLRequest& asked, const TransferLimits& limits);
  static long readStatus(CURL* handle);

  bool isRedirect() const { return status >= 300 && status < 400; }
  /// More answers follow: this one is informational, or a redirect.
  bool isInterim() const { return status < 200 || isRedirect(); }
};

}  // namespace tavrin::curl
