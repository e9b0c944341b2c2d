#include "Platform/Curl/TransferError.hpp"

namespace tavrin::curl {

namespace {

std::string_view summary(CURLcode result) {
  switch (result) {
    case CURLE_URL_MALFORMAT:
      return "the address is malformed";
    case CURLE_UNSUPPORTED_PROTOCOL:
      return "the protocol is not supported";
    case CURLE_TOO_MANY_REDIRECTS:
      return "the server redirected too often";
    case CURLE_COULDNT_RESOLVE_HOST:
      return "the server's name is unknown";
    case CURLE_COULDNT_CONNECT:
      return "the server cannot be reached";
    case CURLE_PEER_FAILED_VERIFICATION:
      return "the server's certificate cannot be trusted";
    case CURLE_SSL_CONNECT_ERROR:
      return "no secure connection could be made";
    case CURLE_GOT_NOTHING:
      return "the server closed the connection without an answer";
    case CURLE_WEIRD_SERVER_REPLY:
      return "the server's answer is malformed";
    case CURLE_PARTIAL_FILE:
      return "the body ended early";
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
      return "the connection was lost";
    case CURLE_OPERATION_TIMEDOUT:
      return "the transfer timed out";
    default:
      return "the transfer failed";
  }
}

}  // namespace

std::string describe(CURLcode result, std::string_view detail) {
  std::string text(summary(result));
  text += " (";
  text += detail.empty() ? curl_easy_strerror(result) : detail;
  return text + ")";
}

}  // namespace tavrin::curl
