#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Tavrin/Foundation/Error.hpp"
#include "Tavrin/Mpv/Internal/Bell.hpp"
#include "Tavrin/Mpv/Internal/Decoding.hpp"
#include "Tavrin/Mpv/Internal/MpvFacts.hpp"
#include "Tavrin/Mpv/Internal/MpvRenderer.hpp"
#include "Tavrin/Mpv/MpvEngine.hpp"

struct mpv_handle;

namespace tavrin {

/// What a handle tells of itself, in the order in which it happened.
struct MpvEvent {
  enum class Kind {
    idle,             // nothing is open, and no picture is left
    fileStarted,      // the address is about to be opened
    tracksFound,      // id: what `proceed` takes; tracks: its video tracks, before any is decoded;
                      // sounds: the places of its tracks of sound
    fileOpened,       // its tracks are known
    fileEnded,        // error: why it failed, absent when it did not
    commandEnded,     // id: the command's; error: why it failed, absent when it did not
    track,            // id: the question's; track: absent when no video track plays
    reconfigured,     // pictures of another kind are about to come
    picture,          // id: the question's; picture: absent when none has been decoded
    seekBegan,        // playback jumps
    playbackStarted,  // the first picture after an opening or a jump is out
    position,         // id: the observation's; number: seconds
    duration,         // id; number: seconds
    end,              // id; number: 1 at the end, else 0
    starved,          // id; number: 1 while playback waits for bytes, else 0
    logged,           // text
  };

  Kind kind;
  std::uint64_t id = 0;
  double number = 0;
  std::string text;
  std::optional<Error> error;
  std::vector<TrackFacts> tracks;
  std::vector<std::int64_t> sounds;
  std::optional<TrackFacts> track;
  std::optional<PictureFacts> picture;
};

/// One libmpv player with its renderer. The engine's thread alone.
class MpvHandle {
 public:
  /// Rings the bell, from libmpv's threads, when there are events or pictures to take. Absent when
  /// libmpv cannot start; `why` then says why.
  static std::unique_ptr<MpvHandle> make(const MpvEngineOptions& options, Bell& bell,
                                         std::string& why);
  ~MpvHandle();
  MpvHandle(const MpvHandle&) = delete;
  MpvHandle& operator=(const MpvHandle&) = delete;

  // None of these waits for more than a moment. Commands and settings are carried out in order.
  /// `id`, unless it is 0, comes back in the command's event.
  void command(std::initializer_list<const char*> words, std::uint64_t id = 0);
  void set(const char* property, bool value);
  void set(const char* property, double value);
  /// Has changes of the open file told under the id; the present values come first.
  void observe(std::uint64_t id);
  void unobserve(std::uint64_t id);
  /// Have told, under the id, what the video track that plays is like, and what its pictures are.
  void askForTrack(std::uint64_t id);
  void askForPicture(std::uint64_t id);
  /// Has told, under an observation's id, where playback is: at 0 where libmpv cannot tell.
  void askForPosition(std::uint64_t id);
  /// Has the end told, under an observation's id, as it is once earlier settings are carried out.
  void askWhetherAtEnd(std::uint64_t id);
  /// Sets what decodes the file whose tracks have been found.
  void setDecoding(const Decoding& decoding);
  /// Chooses among the tracks of sound of the file whose tracks have been found, by their order
  /// from 1; absent for none.
  void setSound(std::optional<std::int64_t> track);
  /// Lets the file go on whose tracks have been found. It waits for this, even to be stopped.
  void proceed(std::uint64_t id);
  /// The next event, absent when there is none now.
  std::optional<MpvEvent> nextEvent();

  /// Draws this player's pictures.
  const std::shared_ptr<MpvRenderer>& renderer() const { return renderer_; }

 private:
  explicit MpvHandle(Bell& bell) : renderer_(std::make_shared<MpvRenderer>(bell)) {}
  std::string start(const MpvEngineOptions& options, Bell& bell);
  MpvEvent tracksFound(std::uint64_t id);

  mpv_handle* mpv_ = nullptr;  // owned
  Decoding decoding_;          // set last
  const std::shared_ptr<MpvRenderer> renderer_;
};

}  // namespace tavrin
