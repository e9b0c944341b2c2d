#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "Tavrin/Mpv/MpvEngine.hpp"

namespace tavrin::load {

/// Absent files end the process: nothing could be proved without them.
inline std::string contents(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) std::abort();
  return std::string(std::istreambuf_iterator<char>(file), {});
}

/// A clip drawn for the engine's tests, by its file name.
inline std::string testClip(const std::string& name) {
  return contents(TAVRIN_TEST_CLIPS "/" + name);
}
/// A clip of the sample workout, by its file name.
inline std::string sampleClip(const std::string& name) {
  return contents(TAVRIN_SAMPLE_CLIPS "/" + name);
}

/// The real engine, without sound.
inline std::unique_ptr<MediaEngine> makeSilentMpv(std::weak_ptr<MediaEngine::Listener> listener) {
  MpvEngineOptions options;
  options.sound = MpvEngineOptions::Sound::none;
  return makeMpvEngine(std::move(listener), options);
}

}  // namespace tavrin::load
