#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <string_view>
#include <thread>

#include "Tavrin/Foundation/FileDescriptor.hpp"
#include "Tavrin/Foundation/Mutex.hpp"
#include "Tavrin/Foundation/URL.hpp"

namespace tavrin::testing {

class LinkConnection;

/// A slow link in front of a server of this machine: what it answers comes at a rate that all
/// connections share equally, and a round trip late.
///
/// The rate counts what travels towards the client. Requests take half a round trip, answers
/// another half, and a new connection a whole one before its first request leaves. A server sends
/// no more than its client takes. Nothing is lost and nothing starts slowly: it is the link of a
/// warmed-up connection.
///
/// Waiting operations return false when the condition does not come about within 30 seconds. Every
/// operation may be called from any thread.
class LinkSimulator {
 public:
  struct Settings {
    /// Of all connections together. 0 holds everything back; never negative.
    std::int64_t bytesPerSecond = 1'000'000;
    std::chrono::microseconds roundTrip{0};
  };

  /// Listens on a free port, and leads to the server that listens on `serverPort`, such as
  /// `RangeServer::port()`. The server must outlive the link.
  LinkSimulator(std::uint16_t serverPort, Settings settings);
  /// Closes all connections.
  ~LinkSimulator();
  LinkSimulator(const LinkSimulator&) = delete;
  LinkSimulator& operator=(const LinkSimulator&) = delete;

  /// The address of a path of the server, over this link. The path starts with "/".
  URL url(std::string_view path) const;

  /// Changes the rate, from now on.
  void setRate(std::int64_t bytesPerSecond);
  /// Resets every connection that is open; what was under way on them is lost. New ones are taken.
  void drop();

  /// How many bytes have reached clients so far, heads of answers included.
  std::int64_t deliveredBytes() const;
  /// Until so many bytes have.
  bool waitForBytes(std::int64_t count) const;

 private:
  using Clock = std::chrono::steady_clock;
  struct Orders {
    std::int64_t bytesPerSecond = 0;
    std::uint64_t drops = 0;
    bool isStopping = false;
  };

  Orders orders() const;
  void order(const std::function<void(Orders&)>& change);
  void run();
  void accept(Clock::time_point now);
  void share(Clock::time_point now, std::int64_t bytesPerSecond);
  void deliver(Clock::time_point now);
  void wait(Clock::time_point now, std::int64_t bytesPerSecond);

  // Never change.
  const FileDescriptor listener_;
  const FileDescriptor wakeUp_;
  const std::uint16_t serverPort_;
  const std::chrono::microseconds roundTrip_;

  // The link's thread only. The front connection is the next to send.
  std::list<LinkConnection> connections_;
  Clock::time_point freeAt_;  // when the link has sent what it has taken
  bool isBusy_ = false;       // a connection waits for the link
  std::uint64_t dropsSeen_ = 0;

  mutable Mutex mutex_;
  mutable ConditionVariable changed_;
  Orders orders_ TAVRIN_GUARDED_BY(mutex_);
  std::int64_t deliveredBytes_ TAVRIN_GUARDED_BY(mutex_) = 0;

  std::thread thread_;  // last, so that it finds the rest in place
};

}  // namespace tavrin::testing
