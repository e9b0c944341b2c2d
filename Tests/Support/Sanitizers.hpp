#pragma once

#ifndef __has_feature
#define __has_feature(name) false
#endif

namespace tavrin::testing {

#if defined(__SANITIZE_ADDRESS__) || __has_feature(address_sanitizer)
inline constexpr bool isAddressSanitized = true;
#else
inline constexpr bool isAddressSanitized = false;
#endif

/// Either sanitizer takes more address space than any bound that a test could set.
#if defined(__SANITIZE_THREAD__) || __has_feature(thread_sanitizer)
inline constexpr bool isSanitized = true;
#else
inline constexpr bool isSanitized = isAddressSanitized;
#endif

// Reasons to pass over a test under AddressSanitizer.
/// UBSan looks at an object's type through a pipe.
inline constexpr auto descriptorsNeeded = "UBSan needs descriptors of its own";
/// Its allocator's locks stay as they were at the fork, and the child's search for leaks misses the
/// stacks of the threads that were left behind.
inline constexpr auto forkedBesideThreads = "AddressSanitizer does not bear a fork beside threads";

}  // namespace tavrin::testing
