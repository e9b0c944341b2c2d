#pragma once

namespace tavrin::testing {

/// UBSan looks at an object's type through a pipe, so it takes every object for a wrong one when no
/// descriptor is free; and a forked child's search for leaks misses the stacks of the threads that
/// the fork left behind.
#ifdef __SANITIZE_ADDRESS__
inline constexpr bool isAddressSanitized = true;
#else
inline constexpr bool isAddressSanitized = false;
#endif

}  // namespace tavrin::testing
