#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "Tavrin/Foundation/Error.hpp"
#include "Tavrin/Media/AVURLAsset.hpp"
#include "Tavrin/Media/CMTime.hpp"

namespace tavrin {

/// Pixels that a host owns and has a picture drawn into: 32 bits each, bytes R, G, B and one
/// unused.
struct PixelBuffer {
  std::byte* pixels = nullptr;  // not owned
  int width = 0;                // pixels
  int height = 0;               // pixels
  std::ptrdiff_t stride = 0;    // bytes from one row to the next

  /// Whether there is a pixel to draw, and each row has room for its width.
  bool canBeDrawn() const {
    return pixels != nullptr && width > 0 && height > 0 && stride / 4 >= width;
  }
};

/// What reads, decodes and draws for one player.
///
/// A player loads one asset after another into its engine. Each load has a number, larger than the
/// ones before it, which every report about it carries; a player passes over reports of loads that
/// are no longer current. All operations may be called from any thread, never wait for the network
/// or for the main queue, and take effect in the order in which they are called.
class MediaEngine {
 public:
  using LoadId = std::uint64_t;

  /// Hears what becomes of the loads. Every call comes on the main queue.
  class Listener {
   public:
    virtual ~Listener() = default;
    /// The load's first picture can be shown.
    virtual void engineDidBecomeReady(LoadId load) = 0;
    /// The load cannot be played, or cannot be played on. It ends here.
    virtual void engineDidFail(LoadId load, const Error& error) = 0;
    /// The last picture has been shown. It stays, and so does the load: a seek plays it again.
    virtual void engineDidPlayToEnd(LoadId load) = 0;
    /// Playback has run out of bytes. It goes on by itself when they come.
    virtual void engineDidStall(LoadId load) = 0;
  };

  using Factory = std::function<std::unique_ptr<MediaEngine>(std::weak_ptr<Listener>)>;

  /// Chooses the engine of every player made from now on. A host does it once, before its first
  /// player. Any thread.
  static void setFactory(Factory factory);
  /// A new engine. One that cannot be made, for there are no threads or memory, is one whose loads
  /// all fail. Stops the process when none has been chosen.
  [[nodiscard]] static std::unique_ptr<MediaEngine> make(std::weak_ptr<Listener> listener);

  /// Ends playback at once, also when a read of the current load is waiting for bytes.
  virtual ~MediaEngine() = default;

  /// Replaces what is loaded. An absent asset leaves nothing loaded and no picture.
  virtual void load(LoadId load, std::shared_ptr<AVURLAsset> asset) = 0;
  /// Says which assets may be loaded next, the likeliest first, in place of what was said before.
  /// What is loaded already may be among them.
  ///
  /// An engine need do nothing with it. It may open some of them, paused, up to their first picture
  /// and within `OpenAheadShare`; a `load` of one then takes that over. Nothing is told of an asset
  /// before it is loaded, also when it cannot be opened. One that is no longer named is let go at
  /// once.
  virtual void expect(std::vector<std::shared_ptr<AVURLAsset>> /*assets*/) {}
  /// Plays, or holds the position. Kept across loads.
  virtual void setPlaying(bool playing) = 0;
  /// Moves to a time of the current load. `completion`, if given, is called once, on the main
  /// queue: with true when the seek has ended, with false when a load or a later seek has overtaken
  /// it or nothing is loaded.
  virtual void seek(CMTime time, std::function<void(bool finished)> completion) = 0;
  virtual void setMuted(bool muted) = 0;
  /// Whether playback waits for a stock of bytes before it starts, or starts as soon as it can.
  virtual void setWaitsToMinimizeStalling(bool waits) = 0;
  /// The position in the current load; zero when nothing is loaded.
  virtual CMTime currentTime() const = 0;
  /// The length of the current load; absent while it is not known.
  virtual std::optional<CMTime> duration() const { return std::nullopt; }

  /// Sets what is called, on any thread, whenever there is a new picture to draw. It must return at
  /// once and may not call the engine.
  virtual void setPictureHandler(std::function<void()> handler) = 0;
  /// Draws the current picture, scaled to fit with its shape kept, the rest black. Returns the load
  /// that the picture belongs to; absent, with the buffer untouched, when there is no picture yet,
  /// and for a buffer without pixels or with a stride that is too small: a widget that is hidden or
  /// being laid out has no height. One thread at a time.
  virtual std::optional<LoadId> draw(const PixelBuffer& target) = 0;
};

}  // namespace tavrin
