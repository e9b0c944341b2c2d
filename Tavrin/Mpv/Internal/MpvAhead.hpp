#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "Tavrin/Media/AVURLAsset.hpp"
#include "Tavrin/Media/OpenAhead.hpp"
#include "Tavrin/Mpv/Internal/DrawnPicture.hpp"
#include "Tavrin/Mpv/Internal/MpvLanes.hpp"
#include "Tavrin/Mpv/Internal/MpvRequests.hpp"

namespace tavrin {

/// What an engine has open before it is asked for: which assets, in which lanes. The engine's
/// thread alone.
///
/// An asset that fails here is let go and not tried again while it is expected: it fails when it is
/// loaded, in the ordinary way.
class MpvAhead {
 public:
  using Clock = std::chrono::steady_clock;

  /// `wake` is called on any thread when there may be something to let go or to open.
  MpvAhead(MpvLanes& lanes, std::function<void()> wake) : lanes_(lanes), share_(std::move(wake)) {}

  struct Taken {
    MpvLane* lane;                          // of the engine's lanes
    std::shared_ptr<DrawnPicture> picture;  // its first, absent when nobody has begun to draw it
  };

  /// The lane that has the asset open, or is opening it; it is the caller's from now on. Absent
  /// when there is none.
  std::optional<Taken> take(const std::shared_ptr<AVURLAsset>& asset);
  /// Lets go of what is no longer expected and of what is more than the share, the least likely
  /// first. To be called after every change, before `open`.
  void letGo(const MpvRequests::Wishes& wishes);
  /// Whether there is something to open, and nothing is being opened.
  bool hasMore(const MpvRequests::Wishes& wishes) const;
  /// Opens the likeliest asset that is not open, or first lets go of a less likely one.
  void open(const MpvRequests::Wishes& wishes);
  /// Has first pictures drawn that have come out, once each, in a size in pixels.
  void draw(int width, int height);
  /// When what opening has left behind can be given back to the system. Absent when nothing is
  /// left.
  std::optional<Clock::time_point> tidiesAt();
  void tidy();

 private:
  using Asset = std::shared_ptr<AVURLAsset>;
  struct Opened {
    Asset asset;
    MpvLane* lane;  // of `lanes_`
    std::shared_ptr<DrawnPicture> picture;
    bool wasReady;
  };

  std::vector<Asset> wanted(const MpvRequests::Wishes& wishes) const;
  Asset nextToOpen(const MpvRequests::Wishes& wishes) const;
  bool isOpen(const Asset& asset) const;
  bool hasFailed(const Asset& asset) const;
  void noteFailures();
  void close(std::vector<Opened>::iterator opened);
  void closeLeastLikely(const std::vector<Asset>& expected);

  MpvLanes& lanes_;
  OpenAheadShare share_;
  std::vector<Opened> opened_;
  std::vector<Asset> failed_;  // of those that are expected
  std::vector<Asset> asked_;   // what the share has been asked for
  std::optional<Clock::time_point> tidiesAt_;
};

}  // namespace tavrin
