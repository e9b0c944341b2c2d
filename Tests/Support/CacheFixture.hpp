#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/Testing/Bytes.hpp"
#include "Tavrin/Testing/RangeServer.hpp"
#include "Tavrin/Testing/TemporaryDirectory.hpp"

namespace tavrin::testing {

/// A server, and a cache directory of the test's own.
class CacheFixture : public ::testing::Test {
 protected:
  CacheFixture() {
    setenv("XDG_CACHE_HOME", root.path().c_str(), 1);
    std::filesystem::create_directory(cacheDirectory());
  }

  URL url(const std::string& name) const { return server.url("/" + name); }
  std::filesystem::path cacheDirectory() const { return root.path() / "VideoCache"; }
  void addFile(const std::string& name, const std::string& contents) const;
  std::string fileContents(const std::string& name) const;
  /// The names of the cached videos, sorted.
  std::vector<std::string> files() const;
  /// Names relative to the directory, sorted.
  static std::vector<std::string> filesBelow(const std::filesystem::path& directory);

  /// Pumps the main queue until the condition holds, asked again after at most a millisecond.
  static bool waitUntil(const std::function<bool()>& condition);

  TemporaryDirectory root;
  RangeServer server;
};

}  // namespace tavrin::testing
