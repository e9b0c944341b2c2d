#pragma once

#include <curl/curl.h>

#include <optional>
#include <string>

#include "Platform/Foundation/URLSession.hpp"

namespace tavrin::curl {

/// The status and headers of the answer that a handle is receiving, complete at the end of headers.
struct ResponseHead {
  long status = 0;
  URLResponse response;
  /// Other than identity, which is all that was asked for.
  std::optional<std::string> contentEncoding;

  static ResponseHead read(CURL* handle);

  /// More answers follow: this one is informational, or a redirect.
  bool isInterim() const { return status < 200 || (status >= 300 && status < 400); }
  /// Why the body is not the resource that was asked for. Absent when it is.
  std::optional<std::string> objection() const;
};

}  // namespace tavrin::curl
