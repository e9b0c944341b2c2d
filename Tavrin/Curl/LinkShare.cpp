#include "Tavrin/Curl/LinkShare.hpp"

#include <algorithm>

namespace tavrin::curl {

// What one pass over the line has found so far.
struct LinkShare::Turn {
  Time now;
  std::vector<Change> changes;
  double giving = 0;       // the highest rank of one that gives bytes, or has just begun
  std::size_t others = 0;  // that do, and nobody waits for
  std::size_t connecting = 0;
  std::size_t unvisited;  // connected, and further back
  bool isAnyKeptBack = false;
};

LinkShare::Id LinkShare::add(std::string server, double priority) {
  const auto id = ++lastId_;
  line_.emplace(-priority, id);
  transfers_.emplace(id, Transfer{.server = std::move(server), .priority = priority});
  isUnsettled_ = true;
  return id;
}

void LinkShare::setPriority(Id id, double priority) {
  const auto found = transfers_.find(id);
  if (found == transfers_.end() || found->second.priority == priority) return;
  line_.erase(place(id, found->second));
  found->second.priority = priority;
  line_.insert(place(id, found->second));
  isUnsettled_ = true;
}

void LinkShare::received(Id id, Time now, std::int64_t bytes) {
  const auto found = transfers_.find(id);
  if (found == transfers_.end()) return;
  auto& transfer = found->second;
  // Nobody counted on it any more, or somebody waited for it to begin.
  if (transfer.patientUntil <= now || !transfer.hasGiven) isUnsettled_ = true;
  transfer.hasGiven = true;
  transfer.patientUntil = now + limits_.patience;
  transfer.bytes += bytes;
  if (transfer.bytes > limits_.smallBytes) connectingAtOnce_ = 1;
}

void LinkShare::restart(Id id) {
  const auto found = transfers_.find(id);
  if (found == transfers_.end()) return;
  disconnect(found->second);
  found->second.hasGiven = false;
  found->second.bytes = 0;
}

void LinkShare::remove(Id id) {
  const auto found = transfers_.find(id);
  if (found == transfers_.end()) return;
  if (found->second.hasGiven && found->second.bytes <= limits_.smallBytes) {
    connectingAtOnce_ = std::min(connectingAtOnce_ * 2, limits_.smallAtOnce);
  }
  disconnect(found->second);
  line_.erase(place(id, found->second));
  transfers_.erase(found);
}

void LinkShare::disconnect(Transfer& transfer) {
  isUnsettled_ = true;
  if (transfer.state == State::waiting) return;
  transfer.state = State::waiting;
  --connectionsInAll_;
  const auto server = connections_.find(transfer.server);
  if (--server->second == 0) connections_.erase(server);
}

bool LinkShare::mayConnect(const Transfer& transfer) const {
  const std::size_t factor = isWatched(transfer) ? 2 : 1;
  const auto server = connections_.find(transfer.server);
  const auto toServer = server == connections_.end() ? 0 : server->second;
  return connectionsInAll_ < factor * limits_.connections &&
         toServer < factor * limits_.connectionsPerServer;
}

std::vector<LinkShare::Change> LinkShare::settle(Time now) {
  if (!isUnsettled_ && (!nextChange_ || now < *nextChange_)) return {};
  isUnsettled_ = false;
  nextChange_.reset();
  Turn turn{.now = now, .changes = {}, .unvisited = connectionsInAll_};
  const auto atOnce = std::max(limits_.atOnce, connectingAtOnce_);
  for (const auto& [_, id] : line_) {
    auto& transfer = transfers_.at(id);
    const bool isInTurn = transfer.state != State::waiting || turn.connecting < connectingAtOnce_;
    const bool mayReceive =
        isWatched(transfer) || (rank(transfer) >= turn.giving && isInTurn && turn.others < atOnce);
    // Those behind neither receive nor may begin.
    turn.isAnyKeptBack |= !mayReceive;
    if (!mayReceive && turn.unvisited == 0) break;
    let(id, transfer, mayReceive, turn);
  }
  if (!turn.isAnyKeptBack) nextChange_.reset();
  return std::move(turn.changes);
}

void LinkShare::let(Id id, Transfer& transfer, bool mayReceive, Turn& turn) {
  if (transfer.state != State::waiting) --turn.unvisited;
  if (!mayReceive) {
    if (transfer.state == State::receiving) turn.changes.push_back({id, Order::hold});
    if (transfer.state == State::receiving) transfer.state = State::held;
    return;
  }
  if (transfer.state != State::receiving) {
    const bool isNew = transfer.state == State::waiting;
    if (isNew && !mayConnect(transfer)) return;
    turn.changes.push_back({id, isNew ? Order::start : Order::goOn});
    if (isNew) ++connectionsInAll_, ++connections_[transfer.server];
    receive(transfer, turn.now);
  }
  if (transfer.patientUntil <= turn.now) return;
  turn.giving = std::max(turn.giving, rank(transfer));
  if (!isWatched(transfer)) ++turn.others;
  if (!transfer.hasGiven) ++turn.connecting;
  nextChange_ = std::min(nextChange_.value_or(transfer.patientUntil), transfer.patientUntil);
}

void LinkShare::receive(Transfer& transfer, Time now) {
  transfer.state = State::receiving;
  const bool isTrusted = transfer.hasGiven || isWatched(transfer);
  transfer.patientUntil = now + (isTrusted ? limits_.patience : limits_.patienceAtStart);
}

}  // namespace tavrin::curl
