#include "Tavrin/Mpv/Internal/MpvLane.hpp"

#include <algorithm>
#include <limits>
#include <string>
#include <utility>

#include "Tavrin/Media/AssetByteReader.hpp"
#include "Tavrin/Mpv/Internal/ThreadSupply.hpp"

namespace tavrin {

namespace {

using Kind = MpvEvent::Kind;

// A first picture that is later than this tells of a container whose clock begins elsewhere; an
// earlier one of the codec's delay.
constexpr double leastOffset = 1;  // seconds

// Seeks are numbered from 1 by the engine.
constexpr std::uint64_t loadCommand = std::numeric_limits<std::uint64_t>::max();

Error playbackError(ErrorCode code, const std::string& reason) {
  return {code, "The video cannot be played: " + reason};
}

void setIfChanged(MpvHandle& handle, std::optional<bool>& last, const char* property, bool value) {
  if (last == value) return;
  last = value;
  handle.set(property, value);
}

}  // namespace

void MpvLane::open(MediaEngine::LoadId load, const std::shared_ptr<AVURLAsset>& asset) {
  load_ = {};
  load_.id = load;
  ++opening_;
  stream_.reset();
  reader_.reset();
  loader_.reset();
  seekEnd_.reset();
  origin_.reset();
  hasStarted_ = false;
  declaredEnd_ = 0;
  if (!asset->resourceLoader()->delegate() && !asset->url().isHTTP()) {
    return fail(playbackError(ErrorCode::badAddress, "only http and https addresses are opened"));
  }
  if (!canStartThreads(threadsOfAFile)) {
    return fail(playbackError(ErrorCode::noMemory, "the system gives no more threads"));
  }
  loader_ = asset->resourceLoader();
  reader_ = std::make_shared<WatchedReader>(AssetByteReader::make(asset));
  stream_.emplace(reader_,
                  load == nobodysLoad ? MpvStream::Opening::ahead : MpvStream::Opening::awaited);
  const auto address = stream_->address();
  setPlaying(false);
  stall_.reset();
  setStockToGoOn(StallWait::leastStock);
  pictures_.begin(opening_);
  handle_->command({"loadfile", address.c_str()}, loadCommand);
  phase_ = Phase::starting;
  closesOnceStarted_ = false;
}

void MpvLane::hold() {
  setPlaying(false);
  if (stream_) stream_->reader().cancel();
}

void MpvLane::close() {
  ignoreObservations();
  endSeek(false);
  if (phase_ == Phase::idle || phase_ == Phase::closing) return;
  if (stream_) stream_->reader().cancel();
  if (phase_ == Phase::starting) {
    // A stop that came before the start would be followed by no report of idleness.
    closesOnceStarted_ = true;
  } else {
    handle_->command({"stop"});
    phase_ = Phase::closing;
  }
}

void MpvLane::setPlaying(bool playing) {
  if (isPaused_ == !playing) return;
  isPaused_ = !playing;
  handle_->set("pause", !playing);
  if (!playing) return;
  load_.hasLeftStart = true;
  // An end that a seek reached while paused is not told when playback goes on. While a seek is
  // under way the answer would be of the place that it leaves.
  if (!isSeeking()) handle_->askWhetherAtEnd(observation_);
}

void MpvLane::setMuted(bool muted) { setIfChanged(*handle_, isMuted_, "mute", muted); }

void MpvLane::setWaitsToMinimizeStalling(bool waits) {
  setIfChanged(*handle_, waits_, "cache-pause-initial", waits);
}

void MpvLane::setStockToGoOn(double seconds) {
  if (std::exchange(stockToGoOn_, seconds) == seconds) return;
  handle_->set("cache-pause-wait", seconds);
}

std::optional<MpvLane::Clock::time_point> MpvLane::reviewStall() {
  if (!load_.isStarved || !load_.hasMoved || !reader_) {
    stall_.reset();
    setStockToGoOn(StallWait::leastStock);
    return std::nullopt;
  }
  const auto now = Clock::now();
  const auto read = reader_->countRead();
  if (!stall_) stall_ = Stall{now, read};
  const auto end = reader_->end();
  StallWait wait;
  wait.waited = std::chrono::duration<double>(now - stall_->since).count();
  wait.left = load_.duration - load_.position;
  if (end && load_.duration > 0) wait.clipRate = static_cast<double>(*end) / load_.duration;
  wait.bytesCome = static_cast<double>(read - stall_->readBefore);
  setStockToGoOn(wait.stock());
  return now + StallWait::pause;
}

void MpvLane::seek(std::uint64_t serial, double seconds) {
  endSeek(false);
  ignoreObservations();
  load_.isAtEnd = false;
  load_.isStarved = false;
  load_.hasLeftStart = true;
  seekPhase_ = SeekPhase::sent;
  seekSerial_ = serial;
  seekTarget_ = seconds;
  const auto target = std::to_string(seconds + origin_.value_or(0));
  handle_->command({"seek", target.c_str(), "absolute+exact"}, serial);
}

bool MpvLane::update(const std::function<void(const std::string&)>& logError) {
  bool hasNewPicture = handle_->renderer()->takePicture();
  while (auto event = handle_->nextEvent()) {
    const bool isEnding = closesOnceStarted_ || phase_ == Phase::closing;
    if (event->kind == Kind::logged && isEnding) continue;  // the ending itself is no error
    if (event->kind == Kind::logged && logError) logError(event->text);
    noteEncryption(*event);
    handle(*event);
    const auto failure = phase_ == Phase::open ? pictures_.handle(*event) : std::nullopt;
    if (failure) fail(*failure);
    if (event->kind != Kind::tracksFound) continue;
    chooseSound(event->sounds);
    handle_->proceed(event->id);
  }
  if (phase_ != Phase::open) return false;
  // The last picture may have come out since: the end is told only behind it.
  if (load_.isAtEnd) hasNewPicture |= handle_->renderer()->takePicture();
  if (hasNewPicture) pictures_.take();
  const bool isFirst = !load_.hasPicture && pictures_.areOut();
  load_.hasPicture |= isFirst;
  return load_.hasPicture && (hasNewPicture || isFirst);
}

// A file's index has been read, by libmpv, before it tells of the tracks.
void MpvLane::noteEncryption(MpvEvent& event) const {
  if (!reader_) return;
  const auto note = [this](TrackFacts& track) {
    track.isEncrypted = reader_->isEncrypted(track.place);
  };
  std::ranges::for_each(event.tracks, note);
  if (event.track) note(*event.track);
}

// Of encrypted sound libmpv would play noise: the first that is not encrypted is played, if any.
void MpvLane::chooseSound(const std::vector<std::int64_t>& sounds) {
  const auto isEncrypted = [this](std::int64_t place) { return reader_->isEncrypted(place); };
  if (!reader_ || std::ranges::none_of(sounds, isEncrypted)) return;
  const auto clear = std::ranges::find_if_not(sounds, isEncrypted);
  handle_->setSound(clear == sounds.end() ? std::nullopt
                                          : std::optional(clear - sounds.begin() + 1));
}

void MpvLane::handle(const MpvEvent& event) {
  switch (event.kind) {
    case Kind::idle:
      // A new handle reports idleness too, possibly after its first load has been asked for.
      if (phase_ == Phase::closing) phase_ = Phase::idle;
      break;
    case Kind::fileStarted:
      phase_ = Phase::open;
      if (closesOnceStarted_) {
        close();
      } else {
        observeAnew();
      }
      closesOnceStarted_ = false;
      break;
    case Kind::fileEnded:
      if (std::exchange(phase_, Phase::closing) == Phase::open) {
        fail(event.error ? playbackError(event.error->code, event.error->description)
                         : playbackError(ErrorCode::noPicture, "it ended early"));
      }
      break;
    case Kind::commandEnded:
      if (event.id == loadCommand && event.error) {
        phase_ = Phase::idle;
        fail(playbackError(event.error->code, event.error->description));
      } else if (event.id == seekSerial_ && seekPhase_ == SeekPhase::sent) {
        seekPhase_ = SeekPhase::accepted;
        if (!event.error) break;
        endSeek(false);
        observeAnew();
      }
      break;
    case Kind::seekBegan:
      if (seekPhase_ == SeekPhase::accepted) seekPhase_ = SeekPhase::jumping;
      break;
    case Kind::playbackStarted:
      hasStarted_ = true;
      if (!origin_) handle_->askForPosition(observation_);
      if (seekPhase_ != SeekPhase::jumping) break;
      endSeek(true);
      observeAnew();
      break;
    case Kind::position:
    case Kind::duration:
    case Kind::end:
    case Kind::starved:
      if (event.id == observation_ && phase_ == Phase::open) handleObservation(event);
      break;
    default:
      break;
  }
}

void MpvLane::handleObservation(const MpvEvent& event) {
  switch (event.kind) {
    case Kind::position:
      setPosition(event.number);
      break;
    case Kind::duration:
      setDuration(event.number);
      break;
    case Kind::end:
      load_.isAtEnd = event.number != 0;
      if (load_.isAtEnd) pictures_.askForAny();
      break;
    default:
      load_.isStarved = event.number != 0;
  }
}

void MpvLane::setDuration(double seconds) {
  declaredEnd_ = seconds;
  const double origin = origin_.value_or(0);
  load_.duration = seconds > origin ? seconds - origin : seconds;
}

// Times count from the clip's own start.
void MpvLane::setPosition(double seconds) {
  if (!origin_ && hasStarted_) {
    origin_ = seconds < leastOffset ? 0 : seconds;
    setDuration(declaredEnd_);
  }
  load_.position = seconds - origin_.value_or(0);
  if (!firstPosition_) firstPosition_ = seconds;
  load_.hasMoved = seconds > *firstPosition_;
}

void MpvLane::fail(const Error& reason) {
  if (load_.failure) return;
  load_.failure = readingFailure().value_or(reason);
  close();
}

bool MpvLane::failIfCutShort() {
  if (!readingFailure()) return false;
  fail({});
  return true;
}

std::optional<Error> MpvLane::readingFailure() const {
  if (!reader_) return std::nullopt;
  if (auto failure = reader_->failure()) return failure;
  const auto end = loader_->end();
  if (end && end->error && !load_.hasPicture) return end->error;
  if (!reader_->isCutShort()) return std::nullopt;
  return playbackError(ErrorCode::cutShort, "its file ends before its end");
}

void MpvLane::endSeek(bool finished) {
  if (std::exchange(seekPhase_, SeekPhase::none) == SeekPhase::none) return;
  seekEnd_ = SeekEnd{seekSerial_, finished};
  if (!finished) return;
  const double end = load_.duration > 0 ? load_.duration : seekTarget_;
  load_.position = std::max(0.0, std::min(seekTarget_, end));
}

// A change that was under way when the observation began belongs to what was before: the number
// tells the two apart.
void MpvLane::observeAnew() {
  ignoreObservations();
  firstPosition_.reset();
  load_.hasMoved = false;
  handle_->observe(++observation_);
}

void MpvLane::ignoreObservations() {
  handle_->unobserve(observation_);
  ++observation_;
}

}  // namespace tavrin
