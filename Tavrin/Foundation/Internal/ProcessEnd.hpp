#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

namespace tavrin {

/// Differs between a process and the child that it forks, where no thread runs that was started
/// under another number and any lock may be held by one of those. Any thread.
std::uint64_t processNumber();

/// When exit handlers stop waiting: all of them together wait for 80 ms at most.
using ExitDeadline = std::chrono::steady_clock::time_point;

/// Has `stop` called at exit, in the process that asked for it alone: in a forked child there is
/// nothing to stop. As with `std::atexit`, what was asked for last comes first. Any thread.
void stopAtExit(std::function<void(ExitDeadline)> stop);

}  // namespace tavrin
