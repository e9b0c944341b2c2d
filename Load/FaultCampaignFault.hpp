#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace tavrin::load {

/// The names under which the three videos of a campaign's workout are cached.
inline const std::string firstName = "first.mp4";
inline const std::string faultyName = "faulty.mp4";
inline const std::string lastName = "last.mp4";

/// One thing that goes wrong in a workout. Every hook may be absent and is given the cache
/// directory.
struct Fault {
  using Hook = std::function<void(const std::filesystem::path& cache)>;

  std::string name;
  /// How the server serves the faulty video (HTTPScript.hpp lists the behaviours).
  std::string behaviour = "plain";
  /// Brings the fault about, before the player's process starts. Returns whether that was possible.
  std::function<bool(const std::filesystem::path& cache)> prepare = nullptr;
  /// In the player's process, before anything else.
  Hook begin = nullptr;
  /// In the player's process, once the first video plays.
  Hook strike = nullptr;
  /// After the player's process, and after the look at what is in the cache.
  Hook mend = nullptr;
};

/// Every behaviour of the scripted server, then the faults of the disk.
std::vector<Fault> allFaults();

}  // namespace tavrin::load
