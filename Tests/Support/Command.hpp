#pragma once

#include <chrono>
#include <string>

namespace tavrin::testing {

struct CommandResult {
  std::string output;  // of both standard streams
  int status = 0;      // as a shell has it: 134 after an abort
  std::chrono::duration<double> time{};
};

/// Runs a shell command to its end.
CommandResult runCommand(const std::string& command);

}  // namespace tavrin::testing
