#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tavrin::testing {

/// Bytes that many connections send at once.
using SharedBytes = std::shared_ptr<const std::string>;

inline SharedBytes shareBytes(std::string bytes) {
  return std::make_shared<const std::string>(std::move(bytes));
}

/// A request as the server received it.
struct HTTPRequest {
  std::string method;
  std::string path;   // percent-decoded, without the query
  std::string query;  // without "?"
  std::vector<std::pair<std::string, std::string>> headers;

  /// Reads one request from the front of what a client has sent and removes it there. Absent while
  /// it is incomplete.
  static std::optional<HTTPRequest> parse(std::string& received);
  /// Names are compared without regard to case.
  std::optional<std::string> header(std::string_view name) const;
};

/// One thing the server does while it answers.
struct HTTPStep {
  enum class Kind { send, pause, close, reset };

  Kind kind = Kind::send;
  SharedBytes bytes;
  std::size_t offset = 0;
  std::size_t length = 0;

  static HTTPStep send(std::string text);
  static HTTPStep send(const SharedBytes& bytes, std::size_t offset, std::size_t length);
  /// Waits until the test releases it.
  static HTTPStep pause() { return {Kind::pause, nullptr, 0, 0}; }
  static HTTPStep close() { return {Kind::close, nullptr, 0, 0}; }
  static HTTPStep reset() { return {Kind::reset, nullptr, 0, 0}; }
};

/// An answer, step by step. The connection is kept for a next request unless a step ends it.
using HTTPScript = std::vector<HTTPStep>;

/// What is served under a path.
struct HTTPResource {
  SharedBytes body;
  std::string contentType = "video/mp4";
};

/// How a resource is served.
using HTTPBehaviour = std::function<HTTPScript(const HTTPRequest&, const HTTPResource&)>;

/// The behaviour of a name; an unknown one stops the process.
///
/// - "plain": the body with its length, or the range that is asked for.
/// - "slow": a sixteenth of the body after each pause.
/// - "chunked": no length; a trailer at the end.
/// - "until close": no length; the end of the connection ends the body.
/// - "short body": half of the declared length, then the end of the connection.
/// - "reset mid-body": half of the declared length, then a reset.
/// - "stall": half of the body, a pause, the rest. "silence": a pause before the answer.
/// - "not found", "server error": statuses 404 and 500 with a page as the body.
/// - "redirect": to the same path with a query, which is plain. "redirect loop": to itself.
///   "redirect to file": to a file URL.
/// - "gzip": an encoded body, asked for or not. "unasked part": status 206 with half of the body.
/// - "empty": length 0. "no content": status 204. "html page": a page, with status 200.
/// - "hostile length": 2^62 declared. "overflowing length": 2^64 declared. "negative length": -1.
///   All three send the body and end the connection.
HTTPBehaviour httpBehaviour(std::string_view name);

/// The names above.
std::vector<std::string> httpBehaviourNames();

/// Status line, type, length of the body and further header lines, each ending in "\r\n".
HTTPStep httpHead(std::string_view status, std::string_view headerLines);

}  // namespace tavrin::testing
