#include "App/LibrarySetup.hpp"

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "Tavrin/Cache/VideoCacheDependency.hpp"
#include "Tavrin/Mpv/MpvEngine.hpp"

namespace tavrin::app {

namespace {

// Many servers name no type, or that of any bytes.
bool isMedia(const URLResponse& response) {
  if (!response.mimeType) return true;
  std::string type = *response.mimeType;
  std::ranges::transform(type, type.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  constexpr std::array<std::string_view, 5> others = {"application/octet-stream",
                                                      "binary/octet-stream", "application/mp4",
                                                      "application/ogg", "application/x-matroska"};
  return type.starts_with("video/") || type.starts_with("audio/") ||
         std::ranges::find(others, type) != others.end();
}

}  // namespace

void chooseEngine(bool hasSound) {
  MpvEngineOptions options;
  if (!hasSound) options.sound = MpvEngineOptions::Sound::none;
  MediaEngine::setFactory([options](std::weak_ptr<MediaEngine::Listener> listener) {
    return makeMpvEngine(std::move(listener), options);
  });
}

void chooseCache() {
  VideoCacheSettings settings;
  settings.accepts = isMedia;
  auto values = DependencyValues::current();
  setVideoManager(values, VideoCacheDependencyKey::liveValue(settings));
}

}  // namespace tavrin::app
