#pragma once

#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

namespace tavrin::testing {

/// While it lives the process gets no more than so many bytes of address space. One thread
/// is started with `aStack`, and none with `lessThanAStack`. No sanitizer bears it. A process that
/// has other threads by then shares one heap from its beginning.
class ScarceMemory {
 public:
  static constexpr rlim_t lessThanAStack = 4 << 20;
  static constexpr rlim_t aStack = 12 << 20;

  /// A heap that a thread begins in that moment would take all that is left, and much more.
  static void shareOneHeap() { ::mallopt(M_ARENA_MAX, 1); }

  explicit ScarceMemory(rlim_t bytes) {
    rlim_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    if (::getrlimit(RLIMIT_AS, &before_) != 0) std::abort();
    const rlimit limit{pages * static_cast<rlim_t>(::getpagesize()) + bytes, before_.rlim_max};
    if (::setrlimit(RLIMIT_AS, &limit) != 0) std::abort();
  }
  ~ScarceMemory() { ::setrlimit(RLIMIT_AS, &before_); }
  ScarceMemory(const ScarceMemory&) = delete;
  ScarceMemory& operator=(const ScarceMemory&) = delete;

 private:
  rlimit before_{};
};

}  // namespace tavrin::testing
