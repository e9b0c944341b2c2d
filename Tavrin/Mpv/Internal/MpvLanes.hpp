#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Tavrin/Mpv/Internal/Bell.hpp"
#include "Tavrin/Mpv/Internal/MpvLane.hpp"

namespace tavrin {

/// The lanes of one engine, each with what it is in use for decided by others. A lane that nobody
/// plays and nobody has open ahead is idle, or closes and will be. The engine's thread alone.
class MpvLanes {
 public:
  /// One for what plays, one that is idle for a load that nobody expected.
  static constexpr std::size_t fewest = 2;
  /// Two more for what is open ahead.
  static constexpr std::size_t limit = fewest + 2;

  /// Both must outlive the lanes.
  MpvLanes(const MpvEngineOptions& options, Bell& bell) : options_(options), bell_(bell) {}

  bool areNone() const { return lanes_.empty(); }
  /// Why no lane could be made.
  const std::string& whyNone() const { return whyNone_; }

  /// Makes lanes up to the fewest, as far as libmpv can start.
  void makeFewest();
  /// An idle lane for a load, made when need be. Absent when all are in use and no more may be
  /// made.
  MpvLane* idleForLoad();
  /// An idle lane to open ahead in, beside one that stays idle for a load; made when need be.
  MpvLane* idleForAhead();
  /// Ends idle lanes beyond the fewest.
  void endSpare();

  void forEach(const std::function<void(MpvLane&)>& call);
  /// Closes all, and ends them once they are idle or the time has come.
  void end(std::chrono::steady_clock::time_point deadline);

 private:
  MpvLane* make();
  std::size_t countIdle() const;
  MpvLane* firstIdle() const;

  const MpvEngineOptions& options_;
  Bell& bell_;
  std::vector<std::unique_ptr<MpvLane>> lanes_;
  std::string whyNone_;
};

}  // namespace tavrin
