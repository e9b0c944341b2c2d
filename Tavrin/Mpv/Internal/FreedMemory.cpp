#include "Tavrin/Mpv/Internal/FreedMemory.hpp"

#include <atomic>
#include <cstdlib>

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

#else

void giveBackFreedMemory() {}

#endif

}  // namespace tavrin
