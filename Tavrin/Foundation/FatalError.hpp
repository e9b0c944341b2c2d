#pragma once

#include <string_view>

namespace tavrin {

/// Stops the process over a violated precondition: writes the message and a line break to standard
/// error, then aborts. Any thread.
[[noreturn]] void fatalError(std::string_view message);

/// The same in builds with assertions; in builds without them (NDEBUG) nothing happens.
inline void debugAssertionFailure([[maybe_unused]] std::string_view message) {
#ifndef NDEBUG
  fatalError(message);
#endif
}

}  // namespace tavrin
