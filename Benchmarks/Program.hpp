#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <string>
#include <vector>

#include "Benchmarks/Timing.hpp"

extern char** environ;

namespace tavrin::benchmarks {

/// Seconds that a program takes, its own start included; no number when it fails. What it says on
/// standard error is dropped.
inline double secondsOfProgram(std::vector<std::string> words) {
  std::vector<char*> arguments;
  for (auto& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t quietly;
  posix_spawn_file_actions_init(&quietly);
  posix_spawn_file_actions_addopen(&quietly, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  const auto start = Clock::now();
  pid_t process = -1;
  int status = -1;
  if (::posix_spawnp(&process, arguments[0], &quietly, nullptr, arguments.data(), environ) == 0) {
    ::waitpid(process, &status, 0);
  }
  const auto seconds = secondsSince(start);
  posix_spawn_file_actions_destroy(&quietly);
  return status == 0 ? seconds : std::nan("");
}

}  // namespace tavrin::benchmarks
