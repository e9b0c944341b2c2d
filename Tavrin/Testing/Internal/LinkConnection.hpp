#pragma once

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <utility>

#include "Tavrin/Foundation/FileDescriptor.hpp"
#include "Tavrin/Testing/Internal/ClientWindow.hpp"

namespace tavrin::testing {

/// One client's connection over a simulated link, and its own to the server. The link's thread
/// only.
class LinkConnection {
 public:
  using Clock = std::chrono::steady_clock;

  static constexpr std::size_t leastPacket = 1448;  // bytes, as on an Ethernet

  /// Requests leave at `opensAt` at the earliest. What the client sends arrives after `delay`.
  LinkConnection(FileDescriptor client, FileDescriptor server, Clock::time_point opensAt,
                 Clock::duration delay)
      : client_(std::move(client)),
        server_(std::move(server)),
        opensAt_(opensAt),
        delay_(delay),
        window_(client_, delay) {}

  /// Takes what both sides have sent.
  void receive(Clock::time_point now);
  /// Whether bytes of the server wait for the link, fewer than `window` are on their way, and the
  /// client takes another packet.
  bool maySend(std::int64_t window) const;
  /// The size of its next packet, of `most` bytes at most. 0 for none.
  std::size_t packetBytes(std::size_t most) const;
  /// Sends that packet, to arrive at `arrival`.
  void sendPacket(std::size_t most, Clock::time_point arrival);
  /// Hands over what has arrived. Returns how many bytes the client was given.
  std::int64_t deliver(Clock::time_point now);
  /// Nothing more can come of it: a side has gone and what was under way has arrived.
  bool isOver() const {
    return isClientGone_ || (isServerGone_ && waiting_.empty() && down_.empty());
  }
  /// Loses what is under way; the client's connection ends with a reset.
  void reset();

  /// Only the client's word is missing, of which the system does not tell.
  bool waitsForClient() const { return !waiting_.empty() && packetBytes(leastPacket) == 0; }
  /// What to wake up for.
  pollfd clientEvents() const;
  pollfd serverEvents() const;
  /// When the next bytes arrive; absent when none are under way, or a socket has no room.
  std::optional<Clock::time_point> nextArrival() const;

 private:
  struct Packet {
    Clock::time_point arrival;
    std::string bytes;
    std::size_t sent = 0;
  };
  using Packets = std::deque<Packet>;

  std::int64_t deliver(Packets& packets, const FileDescriptor& to, Clock::time_point now,
                       bool& isBlocked);

  FileDescriptor client_;
  FileDescriptor server_;
  Clock::time_point opensAt_;
  Clock::duration delay_;
  std::string waiting_;  // from the server, for the link
  Packets down_;         // to the client
  Packets up_;           // to the server
  ClientWindow window_;
  std::int64_t sentBytes_ = 0;       // to the client
  std::int64_t deliveredBytes_ = 0;  // of those
  bool isClientBlocked_ = false;     // its socket takes no more
  bool isServerBlocked_ = false;
  bool isClientGone_ = false;
  bool isServerGone_ = false;
};

}  // namespace tavrin::testing
