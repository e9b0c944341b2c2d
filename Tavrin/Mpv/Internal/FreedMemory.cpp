#include "Tavrin/Mpv/Internal/FreedMemory.hpp"

#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "Tavrin/Foundation/Executor.hpp"

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace tavrin {

#ifdef __GLIBC__

void giveBackFreedMemory() {
  static std::atomic<bool> isAsked = false;
  if (isAsked.exchange(true)) return;
  Executor::shared().post([] {
    isAsked = false;
    malloc_trim(0);
  });
}

// A block that is nearly as large comes to lie where the freed one lay, of which the thread may
// have taken some again. Its pages are ours to forget.
void giveBackProbedMemory() {
  constexpr std::size_t size = std::size_t{9} << 20;
  const std::unique_ptr<void, decltype(&std::free)> block(std::malloc(size), std::free);
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  std::size_t left = size;
  void* from = block.get();
  if (from && std::align(page, page, from, left)) madvise(from, left / page * page, MADV_DONTNEED);
}

#else

void giveBackFreedMemory() {}
void giveBackProbedMemory() {}

#endif

}  // namespace tavrin
