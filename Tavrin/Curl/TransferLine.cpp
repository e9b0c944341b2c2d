#include "Tavrin/Curl/TransferLine.hpp"

#include <sys/resource.h>

#include <algorithm>
#include <utility>

#include "Tavrin/Curl/Transfer.hpp"

namespace tavrin::curl {

namespace {

// Whose windows are remembered.
constexpr std::size_t mostServers = 64;

// An eighth of the descriptors there are; those somebody waits for may take another.
LinkShare::Limits limits() {
  LinkShare::Limits limits;
  rlimit descriptors{};
  if (::getrlimit(RLIMIT_NOFILE, &descriptors) != 0) return limits;
  limits.connections = std::clamp<std::size_t>(descriptors.rlim_cur / 8, 4, limits.connections);
  limits.connectionsPerServer = std::min(limits.connectionsPerServer, limits.connections);
  return limits;
}

}  // namespace

TransferLine::TransferLine() : share_(limits()) {}

TransferLine::Id TransferLine::add(std::shared_ptr<Transfer> transfer, std::string server,
                                   double priority) {
  const auto id = share_.add(std::move(server), priority);
  transfers_.emplace(id, std::move(transfer));
  return id;
}

void TransferLine::remove(Id id) {
  share_.remove(id);
  transfers_.erase(id);
}

std::optional<std::int64_t> TransferLine::windowOf(const std::string& server) const {
  const auto found = windows_.find(server);
  return found == windows_.end() ? std::nullopt : std::optional(found->second);
}

void TransferLine::setWindow(const std::string& server, std::optional<std::int64_t> bytes) {
  if (!bytes) {
    windows_.erase(server);
    return;
  }
  if (windows_.size() >= mostServers && !windows_.contains(server)) windows_.clear();
  windows_.insert_or_assign(server, *bytes);
}

void TransferLine::settle() {
  for (const auto& [id, order] : share_.settle(std::chrono::steady_clock::now())) {
    const auto found = transfers_.find(id);
    if (found == transfers_.end()) continue;  // an order before this one has ended it
    const auto transfer = found->second;
    if (order == LinkShare::Order::start) {
      transfer->open();
    } else {
      transfer->setHeld(order == LinkShare::Order::hold);
    }
  }
}

void TransferLine::clear() {
  while (!transfers_.empty()) std::shared_ptr(transfers_.begin()->second)->leave();
}

}  // namespace tavrin::curl
