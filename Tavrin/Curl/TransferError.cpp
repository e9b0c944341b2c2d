#include "Tavrin/Curl/TransferError.hpp"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <string>

namespace tavrin::curl {

namespace {

struct Reason {
  ErrorCode code;
  std::string_view text;
};

Reason reason(CURLcode result) {
  switch (result) {
    case CURLE_URL_MALFORMAT:
      return {ErrorCode::badAddress, "the address is malformed"};
    case CURLE_UNSUPPORTED_PROTOCOL:
      return {ErrorCode::badAddress, "the protocol is not supported"};
    case CURLE_TOO_MANY_REDIRECTS:
      return {ErrorCode::badAnswer, "the server redirected too often"};
    case CURLE_COULDNT_RESOLVE_HOST:
      return {ErrorCode::cannotResolve, "the server's name is unknown"};
    case CURLE_COULDNT_RESOLVE_PROXY:
      return {ErrorCode::cannotResolve, "the proxy's name is unknown"};
    case CURLE_COULDNT_CONNECT:
      return {ErrorCode::cannotConnect, "the server cannot be reached"};
    case CURLE_PROXY:
      return {ErrorCode::cannotConnect, "the proxy cannot be used"};
    case CURLE_PEER_FAILED_VERIFICATION:
      return {ErrorCode::untrusted, "the server's certificate cannot be trusted"};
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CACERT_BADFILE:
      return {ErrorCode::untrusted, "no secure connection could be made"};
    case CURLE_GOT_NOTHING:
      return {ErrorCode::connectionLost, "the server closed the connection without an answer"};
    case CURLE_WEIRD_SERVER_REPLY:
      return {ErrorCode::badAnswer, "the server's answer is malformed"};
    case CURLE_BAD_CONTENT_ENCODING:
      return {ErrorCode::notAccepted, "the answer has an encoding that was not asked for"};
    case CURLE_PARTIAL_FILE:
      return {ErrorCode::cutShort, "the body ended early"};
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
      return {ErrorCode::connectionLost, "the connection was lost"};
    case CURLE_OPERATION_TIMEDOUT:
      return {ErrorCode::timedOut, "the transfer timed out"};
    case CURLE_OUT_OF_MEMORY:
      return {ErrorCode::noMemory, "memory has run out"};
    default:
      return {ErrorCode::other, "the transfer failed"};
  }
}

// curl does not tell: without a descriptor no server is reached and no name looked up.
bool isOutOfDescriptors() {
  const int descriptor = ::eventfd(0, EFD_CLOEXEC);
  if (descriptor < 0) return errno == EMFILE || errno == ENFILE;
  ::close(descriptor);
  return false;
}

}  // namespace

Error transferError(CURLcode result, std::string_view detail, bool isAnswered) {
  auto [code, summary] = reason(result);
  const bool isUnconnected = code == ErrorCode::cannotConnect || code == ErrorCode::cannotResolve;
  if (isUnconnected && isOutOfDescriptors()) {
    return {ErrorCode::noMemory, "the process has no descriptor left for a connection"};
  }
  if (code == ErrorCode::connectionLost && isAnswered) code = ErrorCode::cutShort;
  std::string text(summary);
  text += " (";
  text += detail.empty() ? curl_easy_strerror(result) : detail;
  return {code, text + ")"};
}

Error statusError(long status, std::string_view detail) {
  Error error(ErrorCode::httpStatus, "HTTP status " + std::to_string(status));
  error.description += detail;
  error.httpStatus = static_cast<int>(status);
  return error;
}

Error tooLargeError(std::int64_t limit) {
  return {ErrorCode::tooLarge,
          "the body is larger than the limit of " + std::to_string(limit) + " bytes"};
}

}  // namespace tavrin::curl
