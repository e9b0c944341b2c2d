#include "Load/SoakFigures.hpp"

#include <malloc.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <vector>

#include "Benchmarks/ProcessFigures.hpp"

namespace tavrin::load {

namespace {

// The one that reads the directory is among them, every time.
std::vector<int> openDescriptors() {
  std::vector<int> all;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    all.push_back(std::stoi(entry.path().filename()));
  }
  return all;
}

bool isInternetSocket(int descriptor) {
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  return ::getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size) == 0 &&
         (address.ss_family == AF_INET || address.ss_family == AF_INET6);
}

}  // namespace

SoakFigures SoakFigures::take() {
  ::malloc_trim(0);
  const auto heap = ::mallinfo2();
  return {.threads = benchmarks::countThreads(),
          .descriptors = static_cast<int>(openDescriptors().size()),
          .bytes = benchmarks::residentBytes(),
          .allocated = static_cast<std::int64_t>(heap.uordblks + heap.hblkhd)};
}

void startWithFrugalAllocator(char** arguments) {
  constexpr const char* tunables =
      "glibc.malloc.arena_max=1:glibc.malloc.tcache_count=0:glibc.malloc.mxfast=0:"
      "glibc.malloc.mmap_threshold=131072:glibc.malloc.trim_threshold=131072";
  if (::getenv("GLIBC_TUNABLES") != nullptr) return;
  ::setenv("GLIBC_TUNABLES", tunables, 1);
  ::execv("/proc/self/exe", arguments);
}

int countInternetSockets() {
  return static_cast<int>(std::ranges::count_if(openDescriptors(), isInternetSocket));
}

}  // namespace tavrin::load
