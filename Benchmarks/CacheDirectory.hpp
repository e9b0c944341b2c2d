#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "Tavrin/Testing/TemporaryDirectory.hpp"

namespace tavrin::benchmarks {

/// The cache directory that managers made while it lives use, on the disk that /tmp lies on.
class CacheDirectory {
 public:
  CacheDirectory() {
    setenv("XDG_CACHE_HOME", root_.path().c_str(), 1);
    std::filesystem::create_directory(path());
  }

  std::filesystem::path path() const { return root_.path() / "VideoCache"; }
  /// On the same disk, and no cache.
  const std::filesystem::path& root() const { return root_.path(); }

  void add(const std::string& name, const std::string& contents) const {
    std::ofstream(path() / name, std::ios::binary) << contents;
  }
  /// Adds another name of a file on the same disk.
  void link(const std::string& name, const std::filesystem::path& file) const {
    std::filesystem::create_hard_link(file, path() / name);
  }

  /// Has the system forget what it holds of the files in memory, so that reading waits for the
  /// disk.
  void forgetPages() const {
    for (const auto& entry : std::filesystem::directory_iterator(path())) {
      const int file = ::open(entry.path().c_str(), O_RDONLY | O_CLOEXEC);
      const bool isForgotten = file >= 0 && ::fdatasync(file) == 0 &&
                               ::posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED) == 0;
      if (!isForgotten) std::abort();
      ::close(file);
    }
  }

 private:
  testing::TemporaryDirectory root_;
};

}  // namespace tavrin::benchmarks
