#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "Platform/Foundation/Mutex.hpp"
#include "Platform/Mpv/MpvEngine.hpp"
#include "Tests/Support/ScriptedResource.hpp"

namespace tavrin::testing {

/// A clip drawn for the tests, by its file name.
inline Data clip(const std::string& name) {
  std::ifstream file(std::string(TAVRIN_TEST_CLIPS "/") + name, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << name;
  return Data(std::string(std::istreambuf_iterator<char>(file), {}));
}

/// Takes the errors that libmpv logs. Any thread.
class ErrorLog {
 public:
  MpvEngineOptions options() {
    MpvEngineOptions options;
    options.sound = MpvEngineOptions::Sound::none;
    options.logError = [this](const std::string& line) {
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
