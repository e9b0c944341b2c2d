#include "Tavrin/Mpv/Internal/ThreadSupply.hpp"

#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <filesystem>
#include <fstream>
#include <limits>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace tavrin {

namespace {

namespace fs = std::filesystem;

constexpr const char* controlGroups = "/sys/fs/cgroup";

// Absent also for a file that says "max".
std::optional<std::size_t> numberIn(const fs::path& path) {
  std::ifstream file(path);
  std::size_t number = 0;
  if (file >> number) return number;
  return std::nullopt;
}

// Of all users: no group and no user has more.
std::size_t threadsOfTheMachine() {
  std::ifstream file("/proc/loadavg");
  std::string load;
  std::size_t running = 0;
  std::size_t all = 0;
  char slash = 0;
  if (file >> load >> load >> load >> running >> slash >> all) return all;
  return std::numeric_limits<std::size_t>::max() / 2;
}

// This process's and those around it, as far as they may have a limit.
std::vector<fs::path> ownGroups() {
  std::ifstream file("/proc/self/cgroup");
  std::vector<fs::path> groups;
  for (std::string line; std::getline(file, line);) {
    if (!line.starts_with("0::/")) continue;
    const fs::path root = controlGroups;
    for (auto group = root / line.substr(4);; group = group.parent_path()) {
      if (fs::exists(group / "pids.max")) groups.push_back(group);
      if (group == root || !group.has_relative_path()) break;
    }
  }
  return groups;
}

bool isGroupFull(const fs::path& group, std::size_t count) {
  const auto most = numberIn(group / "pids.max");
  return most && numberIn(group / "pids.current").value_or(*most) + count > *most;
}

bool isAnyLimitNear(std::size_t count) {
  static const auto groups = ownGroups();
  rlimit threads{};
  rlimit memory{};
  ::getrlimit(RLIMIT_NPROC, &threads);
  ::getrlimit(RLIMIT_AS, &memory);
  if (memory.rlim_cur != RLIM_INFINITY) return true;
  if (threads.rlim_cur != RLIM_INFINITY && threadsOfTheMachine() + count > threads.rlim_cur) {
    return true;
  }
  return std::ranges::any_of(groups,
                             [count](const auto& each) { return isGroupFull(each, count); });
}

}  // namespace

bool canStartThreads(std::size_t count) {
  if (!isAnyLimitNear(count)) return true;
  std::atomic<bool> isOver = false;
  bool canStart = true;
  std::vector<std::thread> threads;
  try {
    threads.reserve(count);
    while (threads.size() < count) {
      threads.emplace_back([&isOver] { isOver.wait(false); });
    }
  } catch (const std::exception&) {
    canStart = false;
  }
  isOver = true;
  isOver.notify_all();
  for (auto& each : threads) each.join();
  return canStart;
}

}  // namespace tavrin
