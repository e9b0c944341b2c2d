#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "Tavrin/Media/MediaEngine.hpp"

namespace tavrin {

/// How a media engine over libmpv is set up.
struct MpvEngineOptions {
  enum class Sound { device, none };
  enum class Hardware { whereNeeded, never };

  /// `none` plays against the clock, without opening a sound device.
  Sound sound = Sound::device;
  /// Called with each error that libmpv logs, on the engine's thread. It must return at once and
  /// may not call the engine. Absent: errors are told only by failed loads.
  std::function<void(const std::string& line)> logError;
  /// `whereNeeded` has a clip that is much to decode decoded by the machine's hardware, where
  /// libmpv knows it for safe. Where there is none, and for other clips, it is done by threads.
  Hardware hardware = Hardware::whereNeeded;
  /// What a picture may measure; a video of larger ones fails with `ErrorCode::tooLarge`, before
  /// memory is taken for it where the file tells. In pixels.
  std::int64_t maxSide = 16'384;
  std::int64_t maxPixels = 67'108'864;
};

/// A media engine over libmpv. Any thread.
///
/// It needs the process's `LC_NUMERIC` to be "C"; where it is not, or libmpv cannot start, every
/// load fails and says why. An asset whose resource loader has a delegate is read through it; any
/// other is opened by its address, which must be one of http or https. Playlists, cue sheets and
/// whatever else would name further files are not followed: such a load fails.
///
/// Threads: see docs/media-engine.md.
std::unique_ptr<MediaEngine> makeMpvEngine(std::weak_ptr<MediaEngine::Listener> listener,
                                           MpvEngineOptions options = {});

}  // namespace tavrin
