#pragma once

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "Tavrin/Testing/HTTPScript.hpp"

namespace tavrin::load {

/// The names under which the three videos of a campaign's workout are cached.
inline const std::string firstName = "first.mp4";
inline const std::string faultyName = "faulty.mp4";
inline const std::string lastName = "last.mp4";

class Viewer;

/// One thing that goes wrong in a workout, or that a host does. Every hook may be absent; most are
/// given the cache directory.
struct Fault {
  using Hook = std::function<void(const std::filesystem::path& cache)>;

  std::string name;
  /// How the server serves the faulty video (HTTPScript.hpp lists the behaviours).
  std::string behaviour = "plain";
  /// The whole answer instead, when there is one.
  testing::HTTPScript answer = {};
  /// The path of the faulty video on that server.
  std::string path = "/" + faultyName;
  /// Its whole address, when it is not on that server.
  std::string address = {};
  /// Brings the fault about, before the player's process starts. Returns whether that was possible.
  std::function<bool(const std::filesystem::path& cache)> prepare = nullptr;
  /// In the player's process, before anything else.
  Hook begin = nullptr;
  /// In the player's process, once the first video plays.
  Hook strike = nullptr;
  /// Then, in the same place: what a host does. Returns what went wrong, nothing when all is well.
  std::function<std::string(Viewer&)> habit = nullptr;
  /// Once the faulty video has been watched: gives back what the strike has taken.
  std::function<void()> relent = nullptr;
  /// Whether the process may end in the middle of a write: the next run clears that away.
  bool leavesTemporaryFiles = false;
  /// After the player's process, and after the look at what is in the cache.
  Hook mend = nullptr;
};

/// File permissions and bounds on processes mean nothing to root. To be used as a fault's `begin`,
/// when `prepare` has made the cache directory over with `giveToEverybody`.
void becomeOrdinaryUser(const std::filesystem::path& cache);
bool giveToEverybody(const std::filesystem::path& path, mode_t mode);

// The rows of the campaign.
std::vector<Fault> serverFaults();
std::vector<Fault> diskFaults();
std::vector<Fault> networkFaults();
std::vector<Fault> scarcities();
std::vector<Fault> bounds();
std::vector<Fault> hostHabits();

}  // namespace tavrin::load
