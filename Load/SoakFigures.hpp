#pragma once

#include <cstdint>

namespace tavrin::load {

/// What this process holds.
struct SoakFigures {
  int threads = 0;
  int descriptors = 0;
  std::int64_t bytes = 0;      // resident and of no file
  std::int64_t allocated = 0;  // what the program has allocated and not freed

  /// Has the allocator give back what it can first.
  static SoakFigures take();
};

/// Keeps glibc's allocator from hoarding: one heap for all threads, and its thresholds where they
/// are at the start. By itself it keeps free memory, tens of MiB in time, at the end of a heap of
/// each thread, where `malloc_trim` does not reach it. That is not memory which a program holds.
void keepAllocatorFrugal();

/// Connections and listeners, on either side.
int countInternetSockets();

}  // namespace tavrin::load
