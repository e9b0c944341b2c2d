#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/Media/MediaEngine.hpp"

namespace tavrin::testing {

/// Writes down what an engine reports: "ready 1", "failed 1", "end 1", "stall 1"; "elsewhere" for
/// a report that does not come on the main queue. Main queue only.
class RecordingListener final : public MediaEngine::Listener {
 public:
  const std::vector<std::string>& reports() const { return reports_; }
  /// Of the failure that was told last.
  const Error& error() const { return error_; }
  long count(const std::string& report) const { return std::ranges::count(reports_, report); }

  void engineDidBecomeReady(MediaEngine::LoadId load) override { record("ready", load); }
  void engineDidFail(MediaEngine::LoadId load, const Error& error) override {
    error_ = error;
    record("failed", load);
  }
  void engineDidPlayToEnd(MediaEngine::LoadId load) override { record("end", load); }
  void engineDidStall(MediaEngine::LoadId load) override { record("stall", load); }

 private:
  void record(const char* what, MediaEngine::LoadId load) {
    if (!DispatchQueue::main().isCurrent()) reports_.push_back("elsewhere");
    reports_.push_back(std::string(what) + " " + std::to_string(load));
  }

  std::vector<std::string> reports_;
  Error error_;
};

}  // namespace tavrin::testing
