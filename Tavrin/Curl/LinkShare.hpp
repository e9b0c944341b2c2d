#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Tavrin/Foundation/URLSession.hpp"

namespace tavrin::curl {

/// Says which transfers may receive now. It has no clock and no thread of its own.
///
/// A transfer waits in line until it may connect. From then on it receives, or is held: connected,
/// but nothing is read of it. Those of a high priority, which somebody waits for, always receive.
/// While one of them gives bytes, no other does. Otherwise the first few in line receive, ordered
/// by priority, then by when they came, and none while one of a higher priority gives. They connect
/// one after another, each when the one before has begun to give: one that turns out to be awaited
/// then finds the link free. While bodies are so small that this leaves the link idle, more of them
/// connect at once. A transfer that has given nothing for a while keeps its connection, and no
/// longer keeps others waiting.
class LinkShare {
 public:
  using Time = std::chrono::steady_clock::time_point;
  using Id = std::uint64_t;

  struct Limits {
    /// Transfers nobody waits for that receive at once: enough to fill the link, few enough that
    /// bodies are finished one after another.
    std::size_t atOnce = 3;
    /// The same, and how many of them connect at once, while bodies are small.
    std::size_t smallAtOnce = 8;
    /// A body of so few bytes is small.
    std::int64_t smallBytes = std::int64_t{32} * 1024;
    /// Connections of transfers nobody waits for, to one server and in all. The others may have as
    /// many again.
    std::size_t connectionsPerServer = 16;
    std::size_t connections = 64;
    /// From this priority on somebody waits.
    double watched = URLSessionDataTask::highPriority;
    /// How long a transfer may give nothing before others go on.
    std::chrono::milliseconds patience = std::chrono::seconds(1);
    /// The same for one nobody waits for that has given nothing at all: a connection takes this
    /// long on a bad link, and a server that does not answer would hold up the line.
    std::chrono::milliseconds patienceAtStart = std::chrono::milliseconds(200);
  };

  enum class Order { start, hold, goOn };
  struct Change {
    Id id;
    Order order;
  };

  explicit LinkShare(const Limits& limits) : limits_(limits) {}

  /// A transfer at the end of the line of its priority, from 0 to 1.
  Id add(std::string server, double priority);
  void setPriority(Id id, double priority);
  /// It has given the head of an answer, without bytes, or bytes of its body.
  void received(Id id, Time now, std::int64_t bytes);
  /// It has lost its connection, and waits in line again, in its old place.
  void restart(Id id);
  /// Unknown ones are ignored.
  void remove(Id id);

  /// What has to change now. Cheap when nothing has.
  std::vector<Change> settle(Time now);
  /// When to settle again if nothing happens. Absent when that would change nothing.
  std::optional<Time> nextChange() const { return nextChange_; }

 private:
  enum class State { waiting, receiving, held };
  struct Transfer {
    std::string server;
    double priority;
    State state = State::waiting;
    bool hasGiven = false;
    std::int64_t bytes = 0;  // of its body
    Time patientUntil{};     // while it receives
  };
  // By priority, the highest first, then by age.
  using Place = std::pair<double, Id>;
  struct Turn;

  static Place place(Id id, const Transfer& transfer) { return {-transfer.priority, id}; }
  bool isWatched(const Transfer& transfer) const { return transfer.priority >= limits_.watched; }
  // All that are watched are equal.
  double rank(const Transfer& transfer) const {
    return std::min(transfer.priority, limits_.watched);
  }
  bool mayConnect(const Transfer& transfer) const;
  void disconnect(Transfer& transfer);
  void let(Id id, Transfer& transfer, bool mayReceive, Turn& turn);
  void receive(Transfer& transfer, Time now);

  const Limits limits_;
  std::map<Id, Transfer> transfers_;
  std::set<Place> line_;  // all of them
  std::map<std::string, std::size_t> connections_;
  std::size_t connectionsInAll_ = 0;
  std::size_t connectingAtOnce_ = 1;  // doubled by each small body, reset by a larger one
  Id lastId_ = 0;
  bool isUnsettled_ = false;
  std::optional<Time> nextChange_;
};

}  // namespace tavrin::curl
