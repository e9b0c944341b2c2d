#pragma once

#include <cstdint>
#include <string>
#include <variant>

#include "Tavrin/Foundation/Error.hpp"

namespace tavrin::app {

/// The most that a workout file or a script may hold.
inline constexpr std::int64_t textFileLimit = 4 << 20;  // bytes

/// Reads a file, or what a pipe gives, to its end. Of one that holds more than the limit no more
/// than that is read; it is an error. Waits for a pipe.
std::variant<std::string, Error> readTextFile(const std::string& path);

}  // namespace tavrin::app
