#pragma once

#include <memory>
#include <utility>

#include "Tavrin/Foundation/Error.hpp"
#include "Tavrin/Media/MediaEngine.hpp"

namespace tavrin {

/// Tells an engine's listener, on the main queue, what becomes of the current load: everything
/// once. The engine's thread alone.
class MpvReports {
 public:
  using Listener = MediaEngine::Listener;
  using LoadId = MediaEngine::LoadId;

  explicit MpvReports(std::weak_ptr<Listener> listener) : listener_(std::move(listener)) {}

  /// What is told from now on is of this load.
  void begin(LoadId load);
  bool haveToldReady() const { return ready_; }
  bool haveToldFailure() const { return failed_; }
  void tellReady();
  void tellFailure(const Error& error);
  void tellEnd();
  void tellStall();
  /// It is no longer at its end, or no longer waits for bytes: both may be told again.
  void forgetEnd() { end_ = false; }
  void forgetStall() { stall_ = false; }

 private:
  void tell(bool& told, void (Listener::*call)(LoadId));

  const std::weak_ptr<Listener> listener_;
  LoadId load_ = 0;
  bool ready_ = false;
  bool failed_ = false;
  bool end_ = false;
  bool stall_ = false;
};

}  // namespace tavrin
