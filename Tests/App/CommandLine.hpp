#pragma once

#include <string>

#include "Tests/Support/Command.hpp"

namespace tavrin::testing {

/// Runs the workout player with a cache of its own, for 100 s at most. `environment` holds further
/// arguments of env.
inline CommandResult runPlayer(const std::string& cacheDirectory, const std::string& arguments,
                               const std::string& environment = "") {
  return runCommand("timeout 100 env " + environment + " XDG_CACHE_HOME=" + cacheDirectory +
                    " " TAVRIN_WORKOUT_PLAYER " " + arguments);
}

}  // namespace tavrin::testing
