#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
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

/// What `measure` returns in a forked child, which has the calling thread alone. This process must
/// have no other thread yet.
inline double inChild(const std::function<double()>& measure) {
  int ends[2];
  if (::pipe(ends) != 0) return std::nan("");
  const auto child = ::fork();
  if (child == 0) {
    const double value = measure();
    _exit(::write(ends[1], &value, sizeof value) == sizeof value ? 0 : 1);
  }
  ::close(ends[1]);
  double value = std::nan("");
  if (::read(ends[0], &value, sizeof value) != sizeof value) value = std::nan("");
  ::close(ends[0]);
  ::waitpid(child, nullptr, 0);
  return value;
}

}  // namespace tavrin::benchmarks
