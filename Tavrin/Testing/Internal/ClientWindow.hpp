#pragma once

#include <chrono>
#include <cstdint>
#include <deque>

#include "Tavrin/Foundation/FileDescriptor.hpp"

namespace tavrin::testing {

/// How far a client has allowed its server to send, as the server knows it: a while late.
class ClientWindow {
 public:
  using Clock = std::chrono::steady_clock;

  /// A new connection's. What the client allows is known after `delay`.
  ClientWindow(const FileDescriptor& client, Clock::duration delay);

  /// Asks the system, which has been given `delivered` bytes for the client.
  void update(const FileDescriptor& client, std::int64_t delivered, Clock::time_point now);
  /// The number of bytes up to which the server may send at the time of the update.
  std::int64_t end() const { return end_; }

 private:
  struct Word {
    Clock::time_point arrival;
    std::int64_t end;
  };

  Clock::duration delay_;
  std::int64_t end_;
  std::int64_t lastEnd_;
  std::deque<Word> underWay_;
};

}  // namespace tavrin::testing
