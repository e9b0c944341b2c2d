#include "Benchmarks/Peers/BareMpv.hpp"

#include <mpv/client.h>
#include <mpv/render.h>
#include <mpv/stream_cb.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "Benchmarks/Timing.hpp"
#include "Tavrin/Mpv/Internal/Bell.hpp"
#include "Tavrin/Mpv/Internal/MpvSettings.hpp"

namespace tavrin::benchmarks {

namespace {

constexpr int width = 640;
constexpr int height = 360;
constexpr std::chrono::seconds patience(10);

struct Stream {
  const Data& bytes;
  std::int64_t position = 0;
};

std::int64_t read(void* cookie, char* buffer, std::uint64_t size) {
  auto& stream = *static_cast<Stream*>(cookie);
  const auto count =
      std::min(stream.bytes.count() - stream.position, static_cast<std::int64_t>(size));
  std::memcpy(buffer, stream.bytes.bytes() + stream.position, static_cast<std::size_t>(count));
  stream.position += count;
  return count;
}

std::int64_t seek(void* cookie, std::int64_t offset) {
  return static_cast<Stream*>(cookie)->position = offset;
}

std::int64_t size(void* cookie) { return static_cast<Stream*>(cookie)->bytes.count(); }

void close(void* cookie) { delete static_cast<Stream*>(cookie); }

int openStream(void* bytes, char*, mpv_stream_cb_info* info) {
  info->cookie = new Stream{*static_cast<const Data*>(bytes)};
  info->read_fn = read;
  info->seek_fn = seek;
  info->size_fn = size;
  info->close_fn = close;
  return 0;
}

void ring(void* bell) { static_cast<Bell*>(bell)->ring(); }

void require(int code) {
  if (code < 0) std::abort();
}

}  // namespace

struct BareMpv::Player {
  Player(std::string opened, Data data) : address(std::move(opened)), bytes(std::move(data)) {
    mpv = mpv_create();
    if (mpv == nullptr) std::abort();
    for (const auto& [name, value, isNew] : mpvSettings()) {
      const int code = mpv_set_option_string(mpv, name, value);
      if (!isNew) require(code);
    }
    require(mpv_set_option_string(mpv, "ao", "null"));
    require(mpv_set_option_string(mpv, "stream-lavf-o", ""));
    mpv_set_wakeup_callback(mpv, ring, &bell);
    require(mpv_initialize(mpv));
    require(mpv_stream_cb_add_ro(mpv, "bytes", &bytes, openStream));
    char api[] = MPV_RENDER_API_TYPE_SW;
    mpv_render_param parameters[] = {{MPV_RENDER_PARAM_API_TYPE, api}, {}};
    require(mpv_render_context_create(&renderer, mpv, parameters));
    mpv_render_context_set_update_callback(renderer, ring, &bell);
  }

  ~Player() {
    mpv_render_context_free(renderer);
    mpv_terminate_destroy(mpv);
  }

  void command(std::vector<const char*> words) {
    words.push_back(nullptr);
    require(mpv_command(mpv, words.data()));
  }

  bool waitFor(mpv_event_id wanted) {
    const auto deadline = Clock::now() + patience;
    do {
      for (;;) {
        const auto* event = mpv_wait_event(mpv, 0);
        if (event->event_id == wanted) return true;
        if (event->event_id == MPV_EVENT_NONE) break;
      }
    } while (bell.waitUntil(deadline));
    return false;
  }

  bool waitForPicture() {
    const auto deadline = Clock::now() + patience;
    while (!(mpv_render_context_update(renderer) & MPV_RENDER_UPDATE_FRAME)) {
      if (!bell.waitUntil(deadline)) return false;
    }
    return true;
  }

  void draw() {
    int extent[] = {width, height};
    char format[] = "rgb0";
    std::size_t stride = width * 4;
    int block = 0;
    mpv_render_param parameters[] = {{MPV_RENDER_PARAM_SW_SIZE, extent},
                                     {MPV_RENDER_PARAM_SW_FORMAT, format},
                                     {MPV_RENDER_PARAM_SW_STRIDE, &stride},
                                     {MPV_RENDER_PARAM_SW_POINTER, pixels.data()},
                                     {MPV_RENDER_PARAM_BLOCK_FOR_TARGET_TIME, &block},
                                     {}};
    require(mpv_render_context_render(renderer, parameters));
  }

  const std::string address;
  Data bytes;
  Bell bell;
  mpv_handle* mpv = nullptr;               // owned
  mpv_render_context* renderer = nullptr;  // owned
  std::vector<std::byte> pixels = std::vector<std::byte>(std::size_t{width} * height * 4);
};

BareMpv::BareMpv(Data bytes) : player_(std::make_unique<Player>("bytes://clip", std::move(bytes))) {
  player_->waitFor(MPV_EVENT_IDLE);
}

BareMpv::BareMpv(const URL& address)
    : player_(std::make_unique<Player>(address.absoluteString(), Data())) {
  player_->waitFor(MPV_EVENT_IDLE);
}

BareMpv::~BareMpv() = default;

std::optional<double> BareMpv::open() {
  const auto start = Clock::now();
  player_->command({"loadfile", player_->address.c_str()});
  if (!player_->waitForPicture()) return std::nullopt;
  player_->draw();
  const auto time = millisecondsSince(start);
  player_->command({"stop"});
  if (!player_->waitFor(MPV_EVENT_IDLE)) return std::nullopt;
  return time;
}

}  // namespace tavrin::benchmarks
