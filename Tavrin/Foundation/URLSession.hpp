#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "Tavrin/Foundation/Data.hpp"
#include "Tavrin/Foundation/Error.hpp"
#include "Tavrin/Foundation/URL.hpp"

namespace tavrin {

/// What is asked of a server: a whole resource, or its bytes from one on.
struct URLRequest {
  URLRequest(URL address) : url(std::move(address)) {}

  URL url;
  /// The offset in bytes from which on the resource is wanted; never negative. Absent for all of
  /// it. The server may send the whole all the same.
  std::optional<std::int64_t> firstByte;
  /// The `URLResponse::validator` of an earlier answer: if the resource is another by now, the
  /// server is to send the whole. Without `firstByte` it says nothing.
  std::optional<std::string> validator;
};

/// What a server answered before the first byte of the body.
struct URLResponse {
  struct Part {
    std::int64_t offset = 0;  // bytes, of its first byte in the resource
    std::int64_t length = 0;  // bytes, at least 1
    std::int64_t total = -1;  // bytes of the whole resource; -1 when the server names none

    bool operator==(const Part&) const = default;
  };

  /// Without parameters, such as "video/mp4". Absent when the server names none.
  std::optional<std::string> mimeType;
  /// In bytes. -1 when the server names none, or one that is no length.
  std::int64_t expectedContentLength = -1;
  /// Which part of the resource the body is: it begins where the request wanted it, and may end
  /// sooner. Absent when the body is the whole.
  std::optional<Part> part = std::nullopt;
  /// The server's mark of this very resource, which changes with its bytes. Absent when it gives
  /// none that can be relied on.
  std::optional<std::string> validator = std::nullopt;

  bool operator==(const URLResponse&) const = default;
};

struct URLSessionConfiguration {
  enum class RequestCachePolicy {
    useProtocolCachePolicy = 0,
    reloadIgnoringLocalAndRemoteCacheData = 4
  };

  RequestCachePolicy requestCachePolicy = RequestCachePolicy::useProtocolCachePolicy;
  /// Whether the environment's proxy is asked for what this very machine serves, too.
  bool sendsLoopbackToProxy = false;
};

class URLSession;

/// One transfer of a session. Any thread.
class URLSessionDataTask {
 public:
  static constexpr double defaultPriority = 0.5;
  static constexpr double highPriority = 0.75;

  virtual ~URLSessionDataTask() = default;
  /// Starts the transfer, or lets one that was suspended go on. Else it does nothing.
  virtual void resume() = 0;
  /// Has the delegate hear nothing more until `resume`; a call may be under way. The transfer waits
  /// as it waits for a slow delegate, so a server may give it up. A session that has no such
  /// transfers goes on.
  virtual void suspend() {}

  /// From 0 to 1; it may change at any time. From `highPriority` on somebody waits for the bytes:
  /// while such a transfer gets any, the others get none. The others come by priority, each after
  /// those of a higher one, then in the order in which they were started, a few at a time.
  double priority() const { return priority_; }
  virtual void setPriority(double priority) { priority_ = std::clamp(priority, 0.0, 1.0); }

 private:
  std::atomic<double> priority_ = defaultPriority;
};

/// Hears of a session's transfers. Every call of one session comes on that session's own serial
/// queue, never on the main queue; the calls of two sessions can run at the same time.
class URLSessionDataDelegate {
 public:
  enum class ResponseDisposition { cancel = 0, allow = 1 };
  using CompletionHandler = std::function<void(ResponseDisposition)>;

  virtual ~URLSessionDataDelegate() = default;
  /// The final response, redirects followed. The handler must be called once, before returning.
  virtual void urlSession(URLSession& session, URLSessionDataTask& dataTask,
                          const URLResponse& response,
                          const CompletionHandler& completionHandler) = 0;
  /// The next bytes of the body.
  virtual void urlSession(URLSession& session, URLSessionDataTask& dataTask, const Data& chunk) = 0;
  /// The end of the transfer, once; without an error the body is whole.
  virtual void urlSession(URLSession& session, URLSessionDataTask& task,
                          const std::optional<Error>& error) = 0;
};

/// Downloads over HTTP and HTTPS. Every operation may be called from any thread.
///
/// All sessions of the process share the link by the priorities of their transfers, and a bounded
/// number of connections: the rest wait in line, and no time runs out for a transfer that waits or
/// is held back. One whose server hangs up on it meanwhile is asked for once more if no byte of it
/// has come yet; it ends with an error if its response has been heard and is another by then.
///
/// A transfer is one plain GET: no cache, the identity encoding only, no range unless the request
/// names one, on a connection of its own. Redirects are followed, 20 at most, to http and https
/// alone, and from https to https alone. The proxies that the environment names are used, though
/// not for this machine's own addresses. It ends with an error, and no response is heard, for a
/// status of 400 or above, a redirect that leads nowhere, a part or an encoding that was not asked
/// for, a length that is malformed, contradicts another or exceeds 4 GiB, and no whole head of an
/// answer within 60 seconds. It ends with an error after its response for a body that is empty,
/// shorter than its declared length or longer than 4 GiB, and for 60 seconds without a byte. A body
/// whose length nobody declared ends where its connection ends, and then counts as whole: nobody
/// can tell it from one that was cut short. A delegate that is slow makes the transfer wait; one
/// that answers `cancel` hears an error as the end.
class URLSession {
 public:
  /// A session that keeps its delegate alive until it is invalidated.
  static std::shared_ptr<URLSession> make(const URLSessionConfiguration& configuration,
                                          std::shared_ptr<URLSessionDataDelegate> delegate);

  virtual ~URLSession() = default;
  /// A task for what is asked, not yet started.
  virtual std::shared_ptr<URLSessionDataTask> dataTask(const URLRequest& request) = 0;
  /// Ends all transfers and lets go of the delegate. Returns without waiting: a call to the
  /// delegate that is running goes on, and none starts after it.
  virtual void invalidateAndCancel() = 0;
};

}  // namespace tavrin
