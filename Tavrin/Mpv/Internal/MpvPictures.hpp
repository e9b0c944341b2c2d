#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "Tavrin/Foundation/Error.hpp"
#include "Tavrin/Mpv/Internal/Decoding.hpp"
#include "Tavrin/Mpv/Internal/MpvHandle.hpp"

namespace tavrin {

/// The pictures of a handle's open file: whether there are any, how they are turned, how bright
/// they are meant, and whether they are too large. The engine's thread alone.
class MpvPictures {
 public:
  /// What an MpvEvent's `id` is for the command that this gives the handle.
  static constexpr std::uint64_t mapCommand = ~std::uint64_t{1};

  MpvPictures(MpvHandle& handle, const MpvEngineOptions& options)
      : handle_(handle), maxSide_(options.maxSide), maxPixels_(options.maxPixels) {
    machine_.hasHardware &= options.hardware == MpvEngineOptions::Hardware::whereNeeded;
  }

  /// A file is about to be opened, under a number of its own: nothing of the last one holds.
  void begin(std::uint64_t opening);
  /// Takes in what the handle tells. Returns why the file cannot be played, if that is so.
  std::optional<Error> handle(const MpvEvent& event);
  /// The renderer has taken a picture.
  void take() { isTaken_ = true; }
  /// Whether there is a picture, and it is known how it has to be drawn.
  bool areOut() const { return isTaken_ && track_ && !isHeld_; }
  /// The file has come to an end: asks whether there was a picture at all.
  void askForAny();

 private:
  enum class Mapping { none, sent, set, jumping };

  std::optional<Error> handleTracks(const std::vector<TrackFacts>& tracks);
  void chooseDecoding(const TrackFacts& track);
  std::optional<Error> handleTrack(const std::optional<TrackFacts>& track);
  std::optional<Error> handlePicture(std::uint64_t id, const std::optional<PictureFacts>& picture);
  std::optional<Error> judge(const TrackFacts& track) const;
  std::optional<Error> judgeSize(std::int64_t width, std::int64_t height) const;
  void map();
  void handleMapping(bool isSet);

  MpvHandle& handle_;
  const std::int64_t maxSide_;    // pixels
  const std::int64_t maxPixels_;  // pixels
  DecodingMachine machine_ = DecodingMachine::own();
  std::uint64_t opening_ = 0;
  std::optional<TrackFacts> track_;
  bool isTaken_ = false;
  bool isHeld_ = false;  // until it is known whether its range is high, and then until it is mapped
  Mapping mapping_ = Mapping::none;
};

}  // namespace tavrin
