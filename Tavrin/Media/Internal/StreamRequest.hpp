#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "Tavrin/Foundation/Error.hpp"
#include "Tavrin/Foundation/Mutex.hpp"
#include "Tavrin/Foundation/URLSession.hpp"

namespace tavrin {

/// Hears of the requests it has made, each by its number, on the sessions' queues.
class StreamReceiver {
 public:
  virtual ~StreamReceiver() = default;
  /// Returns whether the body is wanted.
  virtual bool streamResponded(std::uint64_t number, const URLResponse& response) = 0;
  virtual void streamReceived(std::uint64_t number, const Data& bytes) = 0;
  virtual void streamEnded(std::uint64_t number, const std::optional<Error>& error) = 0;
};

/// One GET of a stream, in a session of its own, which ends with this. Any thread.
class StreamRequest {
 public:
  StreamRequest(const URLRequest& request, std::uint64_t number,
                const std::weak_ptr<StreamReceiver>& receiver);
  /// Cancels what still runs; the receiver hears no more of it. Does not wait.
  ~StreamRequest();
  StreamRequest(const StreamRequest&) = delete;
  StreamRequest& operator=(const StreamRequest&) = delete;

  /// Starts the transfer, or lets it go on.
  void proceed() { setHeld(false); }
  /// Lets no more bytes come until it proceeds. Some may be under way.
  void hold() { setHeld(true); }

 private:
  void setHeld(bool held);

  // Never change.
  const std::shared_ptr<URLSession> session_;
  const std::shared_ptr<URLSessionDataTask> task_;

  Mutex mutex_;
  bool isHeld_ TAVRIN_GUARDED_BY(mutex_) = true;  // as is wanted, and soon so
};

}  // namespace tavrin
