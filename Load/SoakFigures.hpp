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

/// Starts the program anew with an allocator that does not hoard, unless the caller has set
/// GLIBC_TUNABLES. By itself glibc keeps free memory, tens of MiB in time, at the end of a heap of
/// each thread, where `malloc_trim` does not reach it, and small pieces in a stock of each thread,
/// where they pin pages. That is not memory which a program holds.
void startWithFrugalAllocator(char** arguments);

/// Connections and listeners, on either side.
int countInternetSockets();

}  // namespace tavrin::load
