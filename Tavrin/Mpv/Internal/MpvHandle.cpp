#include "Tavrin/Mpv/Internal/MpvHandle.hpp"

#include <mpv/client.h>

#include <string_view>
#include <utility>
#include <vector>

#include "Tavrin/Mpv/Internal/MpvSettings.hpp"
#include "Tavrin/Mpv/Internal/MpvStreams.hpp"
#include "Tavrin/Mpv/Internal/ThreadSupply.hpp"

namespace tavrin {

namespace {

using Kind = MpvEvent::Kind;

struct Observed {
  const char* property;
  mpv_format format;
  Kind kind;
};

constexpr const char* position = "time-pos";

constexpr Observed observed[] = {
    {position, MPV_FORMAT_DOUBLE, Kind::position},
    {"duration", MPV_FORMAT_DOUBLE, Kind::duration},
    {"eof-reached", MPV_FORMAT_FLAG, Kind::end},
    {"paused-for-cache", MPV_FORMAT_FLAG, Kind::starved},
};

constexpr std::int64_t decoderPadding = 128;  // pixels a side

constexpr const char* videoTrack = "current-tracks/video";
constexpr const char* pictureParameters = "video-out-params";

void ringBell(void* bell) { static_cast<Bell*>(bell)->ring(); }

std::string errorText(int code) { return code < 0 ? mpv_error_string(code) : ""; }

ErrorCode codeOf(int code) {
  switch (code) {
    case MPV_ERROR_UNKNOWN_FORMAT:
      return ErrorCode::unsupported;
    case MPV_ERROR_LOADING_FAILED:
      return ErrorCode::unreadable;
    case MPV_ERROR_NOTHING_TO_PLAY:
      return ErrorCode::noPicture;
    case MPV_ERROR_NOMEM:
      return ErrorCode::noMemory;
    default:
      return ErrorCode::other;
  }
}

std::optional<Error> errorOf(int code) {
  if (code >= 0) return std::nullopt;
  const bool isEmpty = code == MPV_ERROR_NOTHING_TO_PLAY;
  return Error(codeOf(code), isEmpty ? "it has no picture" : errorText(code));
}

MpvEvent eventOf(Kind kind, std::uint64_t id = 0) {
  MpvEvent event;
  event.kind = kind;
  event.id = id;
  return event;
}

const mpv_event_property& propertyOf(const mpv_event& event) {
  return *static_cast<const mpv_event_property*>(event.data);
}

std::optional<MpvEvent> propertyEvent(std::uint64_t id, const mpv_event_property& property) {
  for (const auto& known : observed) {
    if (std::string_view(known.property) != property.name) continue;
    if (property.format == MPV_FORMAT_NONE) return std::nullopt;  // nothing is open
    auto event = eventOf(known.kind, id);
    event.number = known.format == MPV_FORMAT_DOUBLE ? *static_cast<const double*>(property.data)
                                                     : *static_cast<const int*>(property.data);
    return event;
  }
  return std::nullopt;
}

std::optional<MpvEvent> answer(const mpv_event& event) {
  const auto& property = propertyOf(event);
  const auto* node = event.error < 0 ? nullptr : static_cast<const mpv_node*>(property.data);
  if (property.name == std::string_view(videoTrack)) {
    auto told = eventOf(Kind::track, event.reply_userdata);
    if (node) told.track = TrackFacts::of(*node);
    return told;
  }
  if (property.name == std::string_view(pictureParameters)) {
    auto told = eventOf(Kind::picture, event.reply_userdata);
    if (node) told.picture = PictureFacts::of(*node);
    return told;
  }
  if (property.name == std::string_view(position) && event.error < 0)
    return eventOf(Kind::position, event.reply_userdata);
  return propertyEvent(event.reply_userdata, property);
}

MpvEvent logged(std::string text) {
  auto event = eventOf(Kind::logged);
  event.text = std::move(text);
  return event;
}

// No error: software decodes in its place.
bool isOfMissingHardware(const mpv_event_log_message& message) {
  return std::string_view(message.text).starts_with("AVHWDeviceContext:");
}

std::string logLine(const mpv_event_log_message& message) {
  std::string line = std::string(message.prefix) + ": " + message.text;
  while (!line.empty() && line.back() == '\n') line.pop_back();
  return line;
}

MpvEvent ended(Kind kind, std::uint64_t id, int error) {
  auto event = eventOf(kind, id);
  event.error = errorOf(error);
  return event;
}

std::optional<MpvEvent> translate(const mpv_event& event) {
  switch (event.event_id) {
    case MPV_EVENT_IDLE:
      return eventOf(Kind::idle);
    case MPV_EVENT_START_FILE:
      return eventOf(Kind::fileStarted);
    case MPV_EVENT_FILE_LOADED:
      return eventOf(Kind::fileOpened);
    case MPV_EVENT_END_FILE:
      return ended(Kind::fileEnded, 0, static_cast<const mpv_event_end_file*>(event.data)->error);
    case MPV_EVENT_COMMAND_REPLY:
      return ended(Kind::commandEnded, event.reply_userdata, event.error);
    case MPV_EVENT_GET_PROPERTY_REPLY:
      return answer(event);
    case MPV_EVENT_VIDEO_RECONFIG:
      return eventOf(Kind::reconfigured);
    case MPV_EVENT_SEEK:
      return eventOf(Kind::seekBegan);
    case MPV_EVENT_PLAYBACK_RESTART:
      return eventOf(Kind::playbackStarted);
    case MPV_EVENT_PROPERTY_CHANGE:
      return propertyEvent(event.reply_userdata, propertyOf(event));
    case MPV_EVENT_SET_PROPERTY_REPLY:
      if (event.error >= 0) return std::nullopt;
      return logged("a setting was refused: " + errorText(event.error));
    case MPV_EVENT_LOG_MESSAGE:
      if (isOfMissingHardware(*static_cast<const mpv_event_log_message*>(event.data)))
        return std::nullopt;
      return logged(logLine(*static_cast<const mpv_event_log_message*>(event.data)));
    default:
      return std::nullopt;
  }
}

}  // namespace

std::unique_ptr<MpvHandle> MpvHandle::make(const MpvEngineOptions& options, Bell& bell,
                                           std::string& why) {
  std::unique_ptr<MpvHandle> handle(new MpvHandle(bell));
  why = handle->start(options, bell);
  if (!why.empty()) handle.reset();
  return handle;
}

std::string MpvHandle::start(const MpvEngineOptions& options, Bell& bell) {
  if (!canStartThreads(threadsOfAHandle)) return "the system gives no more threads";
  mpv_ = mpv_create();
  if (!mpv_) return "libmpv cannot start; LC_NUMERIC must be \"C\"";
  for (const auto& [name, value, isNew] : mpvSettings()) {
    const int code = mpv_set_option_string(mpv_, name, value);
    if (isNew && code == MPV_ERROR_OPTION_NOT_FOUND) continue;
    if (code < 0) return std::string("libmpv refuses ") + name + ": " + errorText(code);
  }
  if (options.sound == MpvEngineOptions::Sound::none) mpv_set_option_string(mpv_, "ao", "null");
  // Its buffers are larger than the pictures, by some pixels a side. Pictures are judged exactly.
  const auto most = options.maxPixels + 2 * decoderPadding * options.maxSide;
  const auto limit = "max_pixels=" + std::to_string(most);
  mpv_set_option_string(mpv_, "vd-lavc-o", limit.c_str());
  mpv_request_log_messages(mpv_, "error");
  mpv_set_wakeup_callback(mpv_, ringBell, &bell);
  int code = mpv_initialize(mpv_);
  if (code >= 0) code = MpvStream::addProtocol(mpv_);
  if (code >= 0) code = mpv_hook_add(mpv_, 0, "on_preloaded", 0);
  if (code < 0) return "libmpv cannot start: " + errorText(code);

  code = renderer_->start(mpv_);
  return code < 0 ? "libmpv cannot draw: " + errorText(code) : "";
}

MpvHandle::~MpvHandle() {
  renderer_->end();
  if (mpv_) mpv_terminate_destroy(mpv_);
}

void MpvHandle::command(std::initializer_list<const char*> words, std::uint64_t id) {
  std::vector<const char*> arguments(words);
  arguments.push_back(nullptr);
  mpv_command_async(mpv_, id, arguments.data());
}

void MpvHandle::set(const char* property, bool value) {
  int flag = value ? 1 : 0;
  mpv_set_property_async(mpv_, 0, property, MPV_FORMAT_FLAG, &flag);
}

void MpvHandle::set(const char* property, double value) {
  mpv_set_property_async(mpv_, 0, property, MPV_FORMAT_DOUBLE, &value);
}

void MpvHandle::observe(std::uint64_t id) {
  for (const auto& known : observed) {
    mpv_observe_property(mpv_, id, known.property, known.format);
  }
}

void MpvHandle::unobserve(std::uint64_t id) { mpv_unobserve_property(mpv_, id); }

void MpvHandle::askForTrack(std::uint64_t id) {
  mpv_get_property_async(mpv_, id, videoTrack, MPV_FORMAT_NODE);
}

void MpvHandle::askForPicture(std::uint64_t id) {
  mpv_get_property_async(mpv_, id, pictureParameters, MPV_FORMAT_NODE);
}

void MpvHandle::askForPosition(std::uint64_t id) {
  mpv_get_property_async(mpv_, id, position, MPV_FORMAT_DOUBLE);
}

void MpvHandle::askWhetherAtEnd(std::uint64_t id) {
  mpv_get_property_async(mpv_, id, "eof-reached", MPV_FORMAT_FLAG);
}

// While it is held libmpv does nothing but answer: these calls return at once.
MpvEvent MpvHandle::tracksFound(std::uint64_t id) {
  auto event = eventOf(Kind::tracksFound, id);
  mpv_node tracks{};
  if (mpv_get_property(mpv_, "track-list", MPV_FORMAT_NODE, &tracks) >= 0) {
    event.tracks = TrackFacts::ofVideos(tracks);
    event.sounds = TrackFacts::placesOfSounds(tracks);
    mpv_free_node_contents(&tracks);
  }
  return event;
}

void MpvHandle::setDecoding(const Decoding& decoding) {
  if (std::exchange(decoding_, decoding) == decoding) return;
  std::int64_t threads = decoding.threads;
  mpv_set_property(mpv_, "vd-lavc-threads", MPV_FORMAT_INT64, &threads);
  mpv_set_property_string(mpv_, "hwdec", decoding.usesHardware ? "auto-copy-safe" : "no");
}

void MpvHandle::setSound(std::optional<std::int64_t> track) {
  const auto value = track ? std::to_string(*track) : "no";
  mpv_set_property_string(mpv_, "file-local-options/aid", value.c_str());
}

void MpvHandle::proceed(std::uint64_t id) { mpv_hook_continue(mpv_, id); }

std::optional<MpvEvent> MpvHandle::nextEvent() {
  for (;;) {
    const mpv_event* event = mpv_wait_event(mpv_, 0);
    if (event->event_id == MPV_EVENT_NONE) return std::nullopt;
    if (event->event_id == MPV_EVENT_HOOK)
      return tracksFound(static_cast<const mpv_event_hook*>(event->data)->id);
    if (auto translated = translate(*event)) return translated;
  }
}

}  // namespace tavrin
