#include "Platform/Mpv/MpvLane.hpp"

#include <algorithm>
#include <iomanip>
#include <limits>
#include <sstream>
#include <utility>

#include "Platform/Media/AVAssetResourceLoader.hpp"
#include "Platform/Media/AssetByteReader.hpp"

namespace tavrin {

namespace {

using Kind = MpvEvent::Kind;

// Seeks are numbered from 1 by the engine.
constexpr std::uint64_t loadCommand = std::numeric_limits<std::uint64_t>::max();

// A file may end a little before the length it declares.
constexpr double tolerableShare = 0.1;
constexpr double tolerableSeconds = 1;

bool endsEarly(const MpvLoad& load) {
  const double missing = load.duration - load.position;
  return missing > tolerableSeconds && missing > load.duration * tolerableShare;
}

std::string secondsText(double seconds) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(1) << seconds << " s";
  return text.str();
}

void setIfChanged(MpvHandle& handle, std::optional<bool>& last, const char* property, bool value) {
  if (last == value) return;
  last = value;
  handle.set(property, value);
}

bool isFromNetwork(const URL& url) {
  const auto scheme = url.scheme();
  return scheme == "http" || scheme == "https";
}

}  // namespace

void MpvLane::open(MediaEngine::LoadId load, const std::shared_ptr<AVURLAsset>& asset) {
  load_ = {};
  load_.id = load;
  stream_.reset();
  hasVideoTrack_.reset();
  lastError_.clear();
  seekEnd_.reset();
  std::string address = asset->url().absoluteString();
  if (asset->resourceLoader()->delegate()) {
    stream_.emplace(AssetByteReader::make(asset));
    address = stream_->address();
  } else if (!isFromNetwork(asset->url())) {
    return fail("only http and https addresses are opened");
  }
  setPlaying(false);
  handle_->command({"loadfile", address.c_str()}, loadCommand);
  phase_ = Phase::starting;
  closesOnceStarted_ = false;
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

void MpvLane::seek(std::uint64_t serial, double seconds) {
  endSeek(false);
  ignoreObservations();
  load_.isAtEnd = false;
  load_.isStarved = false;
  load_.hasLeftStart = true;
  seekPhase_ = SeekPhase::sent;
  seekSerial_ = serial;
  seekTarget_ = seconds;
  handle_->command({"seek", std::to_string(seconds).c_str(), "absolute+exact"}, serial);
}

bool MpvLane::update(const std::function<void(const std::string&)>& logError) {
  const bool hasNewPicture = handle_->takePicture();
  while (const auto event = handle_->nextEvent()) {
    const bool isEnding = closesOnceStarted_ || phase_ == Phase::closing;
    if (event->kind == Kind::logged && isEnding) continue;  // the ending itself is no error
    if (event->kind == Kind::logged && logError) logError(event->text);
    handle(*event);
  }
  if (!hasNewPicture || phase_ != Phase::open) return false;
  load_.hasPicture = true;
  return true;
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
    case Kind::fileOpened:
      handle_->askForVideoTrack(load_.id);
      break;
    case Kind::fileEnded:
      if (std::exchange(phase_, Phase::closing) == Phase::open) {
        fail(event.text.empty() ? "it ended early" : event.text);
      }
      break;
    case Kind::commandEnded:
      if (event.id == loadCommand && !event.text.empty()) {
        phase_ = Phase::idle;
        fail(event.text);
      } else if (event.id == seekSerial_ && seekPhase_ == SeekPhase::sent) {
        seekPhase_ = SeekPhase::accepted;
        if (event.text.empty()) break;
        endSeek(false);
        observeAnew();
      }
      break;
    case Kind::videoTrack:
      if (event.id != load_.id || phase_ != Phase::open) break;
      hasVideoTrack_ = event.number != 0;
      if (!*hasVideoTrack_) fail("it has no picture");
      break;
    case Kind::seekBegan:
      if (seekPhase_ == SeekPhase::accepted) seekPhase_ = SeekPhase::jumping;
      break;
    case Kind::playbackStarted:
      if (phase_ == Phase::open && hasVideoTrack_ == true) load_.hasPicture = true;
      if (seekPhase_ != SeekPhase::jumping) break;
      endSeek(true);
      observeAnew();
      break;
    case Kind::logged:
      lastError_ = event.text;
      break;
    case Kind::position:
    case Kind::duration:
    case Kind::end:
    case Kind::starved:
      if (event.id == observation_ && phase_ == Phase::open) handleObservation(event);
      break;
  }
}

void MpvLane::handleObservation(const MpvEvent& event) {
  switch (event.kind) {
    case Kind::position:
      setPosition(event.number);
      break;
    case Kind::duration:
      load_.duration = event.number;
      break;
    case Kind::end:
      load_.isAtEnd = event.number != 0;
      if (load_.isAtEnd && !load_.hasPicture) fail("it has no picture");
      break;
    default:
      load_.isStarved = event.number != 0;
  }
}

void MpvLane::setPosition(double seconds) {
  load_.position = seconds;
  if (!firstPosition_) firstPosition_ = seconds;
  load_.hasMoved = seconds > *firstPosition_;
}

void MpvLane::fail(const std::string& reason) {
  if (load_.failure) return;
  std::string text = "The video cannot be played: ";
  text += readerHasFailed() ? "its bytes cannot be read" : reason;
  if (!lastError_.empty()) text += " (" + lastError_ + ")";
  load_.failure = Error{std::move(text)};
  close();
}

bool MpvLane::failIfCutShort() {
  if (!readerHasFailed() && !endsEarly(load_)) return false;
  fail("it ends at " + secondsText(load_.position) + " of " + secondsText(load_.duration));
  return true;
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
