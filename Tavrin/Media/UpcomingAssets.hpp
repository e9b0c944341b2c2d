#pragma once

#include <memory>
#include <vector>

#include "Tavrin/Foundation/KeyValueObservation.hpp"
#include "Tavrin/Media/AVURLAsset.hpp"

namespace tavrin {

/// Knows what may be played after the items that it has handed out, and has it ready. Any thread.
///
/// An item names it (`AVPlayerItem::setUpcoming`), and the player of such an item passes the assets
/// on to its engine, as often as they change. So the word reaches the player that will need it.
class UpcomingAssets {
 public:
  virtual ~UpcomingAssets() = default;

  /// Assets whose bytes are at hand, the likeliest next one first. What plays now may be among
  /// them.
  virtual std::vector<std::shared_ptr<AVURLAsset>> upcomingAssets() const = 0;
  /// Observable property: "upcomingAssets". The end of this object is told as a change, too.
  KeyValueObservers& upcomingObservers() { return upcomingObservers_; }

 protected:
  void tellUpcomingObservers() { upcomingObservers_.tell("upcomingAssets"); }

 private:
  KeyValueObservers upcomingObservers_;
};

}  // namespace tavrin
