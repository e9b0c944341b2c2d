#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "Platform/Foundation/DispatchQueue.hpp"
#include "Platform/Media/MediaEngine.hpp"

namespace tavrin::testing {

/// Writes down what an engine reports: "ready 1", "failed 1", "end 1", "stall 1"; "elsewhere" for
/// a report that does not come on the main queue. Main queue only.
class RecordingListener final : public MediaEngine::Listener {
 public:
  const std::vector<std::string>& reports() const { return reports_; }
  const std::string& lastError() const { return lastError_; }
  long count(const std::string& report) const { return std::ranges::count(reports_, report); }

  void engineDidBecomeReady(MediaEngine::LoadId load) override { record("ready", load); }
  void engineDidFail(MediaEngine::LoadId load, const Error& error) override {
    lastError_ = error.description;
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
  std::string lastError_;
};

}  // namespace tavrin::testing
