#pragma once

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <utility>

#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/Mpv/MpvEngine.hpp"

namespace tavrin::benchmarks {

using namespace std::chrono_literals;

constexpr int samples = 20;

inline const std::string clips = TAVRIN_SAMPLE_CLIPS;
inline const std::string shortClip = TAVRIN_TEST_CLIPS "/red.mp4";  // one second, 30 frames

inline std::string contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) std::abort();
  return std::string(std::istreambuf_iterator<char>(file), {});
}

/// Has ffmpeg draw a clip, in a form that starts at once.
inline void drawClip(const std::string& arguments, const std::string& file) {
  const auto command =
      "ffmpeg -v error -y " + arguments + " -movflags +faststart -f mp4 '" + file + "'";
  if (std::system(command.c_str()) != 0) std::abort();
}

inline bool pumpUntil(const std::function<bool()>& done, std::chrono::nanoseconds timeout = 10s) {
  return DispatchQueue::main().runUntil(done, timeout);
}

inline void pumpFor(std::chrono::nanoseconds time) {
  pumpUntil([] { return false; }, time);
}

inline void useMpv() {
  MediaEngine::setFactory([](std::weak_ptr<MediaEngine::Listener> listener) {
    MpvEngineOptions options;
    options.sound = MpvEngineOptions::Sound::none;
    return makeMpvEngine(std::move(listener), options);
  });
}

}  // namespace tavrin::benchmarks
