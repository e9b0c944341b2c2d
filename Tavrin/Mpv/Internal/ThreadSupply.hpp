#pragma once

#include <cstddef>

namespace tavrin {

/// How many threads libmpv starts for a handle, with one to spare.
inline constexpr std::size_t threadsOfAHandle = 2;
/// How many it starts for a file, and some to spare for a sound system's.
inline constexpr std::size_t threadsOfAFile = 8;

/// Whether the system gives so many threads more. Where it gets none, libmpv 0.35 crashes when it
/// opens a file, and hangs when it makes a handle. They are tried only where a limit is near: with
/// far fewer threads on the whole machine than the user or a control group may have, and no limit
/// on memory, it takes some reading of numbers. Any thread.
bool canStartThreads(std::size_t count);

}  // namespace tavrin
