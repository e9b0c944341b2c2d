#include "Tavrin/Mpv/Internal/MpvPictures.hpp"

#include <utility>

#include "Tavrin/Mpv/Internal/ThreadSupply.hpp"

namespace tavrin {

namespace {

using Kind = MpvEvent::Kind;

// Of the answers to a question about pictures, those to this one must name one.
constexpr std::uint64_t isAnyOut = std::uint64_t{1} << 63;

// The renderer takes the numbers of a high dynamic range for light, and cuts off what a screen
// cannot show. Taken for a screen's own, they are all there.
constexpr const char* mappingFilter = "format=gamma=bt.1886:primaries=bt.709";

Error noPicture() {
  return {ErrorCode::noPicture, "The video cannot be played: it has no picture"};
}

Error encrypted() {
  return {ErrorCode::noPicture, "The video cannot be played: its pictures are encrypted"};
}

Error tooLarge() {
  return {ErrorCode::tooLarge, "The video cannot be played: its pictures have too many pixels"};
}

}  // namespace

void MpvPictures::begin(std::uint64_t opening) {
  if (std::exchange(mapping_, Mapping::none) != Mapping::none) handle_.command({"vf", "set", ""});
  if (track_ && track_->turn != Turn::none) handle_.renderer()->setTurn(Turn::none);
  track_.reset();
  opening_ = opening;
  isTaken_ = false;
  isHeld_ = false;
}

std::optional<Error> MpvPictures::handle(const MpvEvent& event) {
  switch (event.kind) {
    case Kind::tracksFound:
      return handleTracks(event.tracks);
    case Kind::fileOpened:
      handle_.askForTrack(opening_);
      break;
    case Kind::track:
      if (event.id == opening_) return handleTrack(event.track);
      break;
    case Kind::reconfigured:
      handle_.askForPicture(opening_);
      break;
    case Kind::picture:
      if ((event.id & ~isAnyOut) == opening_) return handlePicture(event.id, event.picture);
      break;
    case Kind::commandEnded:
      if (event.id == mapCommand) handleMapping(!event.error);
      break;
    case Kind::seekBegan:
      if (mapping_ != Mapping::set) break;
      mapping_ = Mapping::jumping;
      isTaken_ = false;
      break;
    case Kind::playbackStarted:
      if (mapping_ == Mapping::jumping) isHeld_ = false;
      askForAny();
      break;
    default:
      break;
  }
  return std::nullopt;
}

// A decoder that refuses a size only says that it cannot decode: so sizes are judged before there
// is one.
std::optional<Error> MpvPictures::handleTracks(const std::vector<TrackFacts>& tracks) {
  std::optional<Error> refusal;
  for (const auto& track : tracks) {
    refusal = judge(track);
    if (refusal) continue;
    chooseDecoding(track);  // the first is the one that is played
    break;
  }
  return refusal;
}

// A decoder that gets some of its threads only fails altogether.
void MpvPictures::chooseDecoding(const TrackFacts& track) {
  auto decoding = Decoding::of(track, machine_);
  const auto threads = static_cast<std::size_t>(decoding.threads);
  if (threads > 1 && !canStartThreads(threads + threadsOfAFile)) decoding.threads = 1;
  handle_.setDecoding(decoding);
}

void MpvPictures::askForAny() {
  if (!isTaken_) handle_.askForPicture(opening_ | isAnyOut);
}

std::optional<Error> MpvPictures::handleTrack(const std::optional<TrackFacts>& track) {
  if (!track) return noPicture();
  track_ = track;
  if (track->turn != Turn::none) handle_.renderer()->setTurn(track->turn);
  if (!track->isOfPlainCodec) {
    isHeld_ = true;
    handle_.askForPicture(opening_);
  }
  return judge(*track);
}

std::optional<Error> MpvPictures::handlePicture(std::uint64_t id,
                                                const std::optional<PictureFacts>& picture) {
  if (!picture) {
    const bool isNone = (id & isAnyOut) != 0 && !isTaken_;
    return isNone ? std::optional(noPicture()) : std::nullopt;
  }
  if (mapping_ == Mapping::none) {
    isHeld_ = picture->isHdr;
    if (picture->isHdr) map();
  }
  return judgeSize(picture->width, picture->height);
}

void MpvPictures::map() {
  mapping_ = Mapping::sent;
  handle_.command({"vf", "set", mappingFilter}, mapCommand);
}

// The picture that is out has to come again, mapped. A start of playback that was under way may
// still be told, so one counts only behind the jump.
void MpvPictures::handleMapping(bool isSet) {
  if (isSet) {
    mapping_ = Mapping::set;
    handle_.command({"seek", "0", "absolute+exact"});
  } else {
    isHeld_ = false;  // better too bright than none
  }
}

std::optional<Error> MpvPictures::judge(const TrackFacts& track) const {
  return track.isEncrypted ? std::optional(encrypted()) : judgeSize(track.width, track.height);
}

std::optional<Error> MpvPictures::judgeSize(std::int64_t width, std::int64_t height) const {
  const bool fits = width <= maxSide_ && height <= maxSide_ && width * height <= maxPixels_;
  return fits ? std::nullopt : std::optional(tooLarge());
}

}  // namespace tavrin
