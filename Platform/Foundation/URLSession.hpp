#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Platform/Foundation/Data.hpp"
#include "Platform/Foundation/Error.hpp"
#include "Platform/Foundation/URL.hpp"

namespace tavrin {

/// What a server answered before the first byte of the body.
struct URLResponse {
  /// Without parameters, such as "video/mp4". Absent when the server names none.
  std::optional<std::string> mimeType;
  /// In bytes. -1 when the server names none, or one that is no length.
  std::int64_t expectedContentLength = -1;
};

struct URLSessionConfiguration {
  enum class RequestCachePolicy {
    useProtocolCachePolicy = 0,
    reloadIgnoringLocalAndRemoteCacheData = 4
  };

  RequestCachePolicy requestCachePolicy = RequestCachePolicy::useProtocolCachePolicy;
};

class URLSession;

/// One transfer of a session.
class URLSessionDataTask {
 public:
  virtual ~URLSessionDataTask() = default;
  /// Starts the transfer. Later calls do nothing. Any thread.
  virtual void resume() = 0;
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
/// A transfer is one plain GET: no range, no cache, the identity encoding only. Redirects are
/// followed, 20 at most and to http and https alone. It ends with an error for a status of 400 or
/// above, a redirect that leads nowhere, a part or an encoding that was not asked for (none of
/// these is heard as a response), a body shorter than its declared length or empty, a scheme other
/// than http and https, and 60 seconds without a byte. A delegate that is slow makes the transfer
/// wait; one that answers `cancel` hears an error as the end.
class URLSession {
 public:
  /// A session that keeps its delegate alive until it is invalidated.
  static std::shared_ptr<URLSession> make(const URLSessionConfiguration& configuration,
                                          std::shared_ptr<URLSessionDataDelegate> delegate);

  virtual ~URLSession() = default;
  /// A task for the whole resource, not yet started.
  virtual std::shared_ptr<URLSessionDataTask> dataTask(const URL& url) = 0;
  /// Ends all transfers and lets go of the delegate. Returns without waiting: a call to the
  /// delegate that is running goes on, and none starts after it.
  virtual void invalidateAndCancel() = 0;
};

}  // namespace tavrin
