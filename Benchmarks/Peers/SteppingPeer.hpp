#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tavrin::benchmarks {

/// Somebody else's player at a step over the same clips, as a peer of ours. One thread.
class SteppingPeer {
 public:
  static constexpr int width = 640;
  static constexpr int height = 360;

  virtual ~SteppingPeer() = default;

  virtual std::string name() const = 0;
  /// Has the player get ready for the clip that comes next, where it can. Returns at once.
  virtual void prepare(const std::string& /*file*/) {}
  /// Steps to a clip while the one before it plays. Returns the milliseconds until the first
  /// picture that the playing clip gives is in memory, as `width` times `height` pixels of four
  /// bytes. Absent when none comes within seconds.
  virtual std::optional<double> step(const std::string& file) = 0;
  /// Lets go of what plays and of what is ready.
  virtual void stop() = 0;
};

using SteppingPeers = std::vector<std::unique_ptr<SteppingPeer>>;

/// GStreamer's prerolled pair (two playbin3, the one that does not play paused on the next clip)
/// and then one playbin3 that is given a new address. None in a build without GStreamer, which
/// says so on standard error.
SteppingPeers gstreamerPeers();
/// A libVLC player that is given a new media; likewise.
SteppingPeers vlcPeers();

}  // namespace tavrin::benchmarks
