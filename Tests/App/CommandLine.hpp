#pragma once

#include <chrono>
#include <string>

namespace tavrin::testing {

struct CommandResult {
  /// Of the command; -1 when a signal ended it.
  int status = -1;
  std::string output;  // standard output and standard error
  std::chrono::duration<double> time{};
};

/// Runs a shell command to its end, for 100 s at most.
CommandResult runCommand(const std::string& command);

/// Runs the workout player with a cache of its own.
CommandResult runPlayer(const std::string& cacheDirectory, const std::string& arguments);

}  // namespace tavrin::testing
