#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "Tavrin/Foundation/Mutex.hpp"
#include "Tavrin/Mpv/MpvEngine.hpp"
#include "Tavrin/Testing/ScriptedResource.hpp"

namespace tavrin::testing {

/// The contents of a file.
inline Data contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << path;
  return Data(std::string(std::istreambuf_iterator<char>(file), {}));
}

/// A clip drawn for these tests, by its file name.
inline Data clip(const std::string& name) { return contents(TAVRIN_TEST_CLIPS "/" + name); }
/// A clip of the sample workout, by its file name.
inline Data sampleClip(const std::string& name) { return contents(TAVRIN_SAMPLE_CLIPS "/" + name); }

/// What the process's threads are called.
inline std::vector<std::string> threadNames() {
  std::vector<std::string> names;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    std::ifstream file(thread.path() / "comm");
    for (std::string name; std::getline(file, name);) names.push_back(name);
  }
  return names;
}

/// Takes the errors that libmpv logs. Any thread.
class ErrorLog {
 public:
  MpvEngineOptions options() {
    MpvEngineOptions options;
    options.sound = MpvEngineOptions::Sound::none;
    options.logError = [this](const std::string& line) {
      // libmpv 0.35 says so of its own doing, when bytes run out just as its sound starts.
      if (line == "ao/null: illegal state: start() while paused") return;
      const LockGuard lock(mutex_);
      lines_.push_back(line);
    };
    return options;
  }
  std::vector<std::string> lines() const {
    const LockGuard lock(mutex_);
    return lines_;
  }

 private:
  mutable Mutex mutex_;
  std::vector<std::string> lines_ TAVRIN_GUARDED_BY(mutex_);
};

}  // namespace tavrin::testing
