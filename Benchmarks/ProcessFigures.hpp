#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

namespace tavrin::benchmarks {

/// A line of /proc/self/status that counts KiB, such as "RssAnon", in bytes.
inline std::int64_t statusBytes(const std::string& name) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(name + ":")) return std::stoll(line.substr(name.size() + 1)) * 1024;
  }
  return -1;
}

/// Memory of this process that stands for no file.
inline std::int64_t residentBytes() { return statusBytes("RssAnon"); }

/// The most memory this process has held since `resetPeak()`, files included.
inline std::int64_t peakBytes() { return statusBytes("VmHWM"); }
inline void resetPeak() { std::ofstream("/proc/self/clear_refs") << 5; }

inline int countThreads() {
  const std::filesystem::directory_iterator threads("/proc/self/task");
  return static_cast<int>(std::distance(threads, {}));
}

/// Threads of this process that bear a name.
inline int countThreadsNamed(const std::string& name) {
  int count = 0;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    std::ifstream file(thread.path() / "comm");
    std::string found;
    std::getline(file, found);
    if (found == name) ++count;
  }
  return count;
}

}  // namespace tavrin::benchmarks
