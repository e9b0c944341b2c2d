#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include "Tavrin/Curl/LinkShare.hpp"

namespace tavrin::curl {

class Transfer;

/// All transfers that have begun and not ended: has them start, held and go on as the link is
/// shared. Transfer thread only.
class TransferLine {
 public:
  TransferLine();

  using Id = LinkShare::Id;

  /// Puts the transfer in line, and keeps it until it is removed.
  Id add(std::shared_ptr<Transfer> transfer, std::string server, double priority);
  void setPriority(Id id, double priority) { share_.setPriority(id, priority); }
  void received(Id id, std::int64_t bytes) {
    share_.received(id, std::chrono::steady_clock::now(), bytes);
  }
  /// The transfer has lost its connection and wants another.
  void restart(Id id) { share_.restart(id); }
  void remove(Id id);

  /// What a server may have under way, as its transfers have found out. Absent when it is not known
  /// to be behind a slow link.
  std::optional<std::int64_t> windowOf(const std::string& server) const;
  void setWindow(const std::string& server, std::optional<std::int64_t> bytes);

  /// Tells the transfers what has changed for them. Not from a callback of curl.
  void settle();
  std::optional<LinkShare::Time> nextChange() const { return share_.nextChange(); }
  /// Lets all of them go.
  void clear();

 private:
  LinkShare share_;
  std::unordered_map<Id, std::shared_ptr<Transfer>> transfers_;
  std::unordered_map<std::string, std::int64_t> windows_;  // of the last few servers
};

}  // namespace tavrin::curl
