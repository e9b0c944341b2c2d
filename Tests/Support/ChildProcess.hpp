#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <functional>

namespace tavrin::testing {

/// Runs `body` in a forked child, for what changes or ends a process, and returns what it returned.
/// The child has the calling thread alone.
inline bool inChild(const std::function<bool()>& body) {
  const auto child = fork();
  if (child == 0) _exit(body() ? 0 : 1);
  int status = 0;
  return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace tavrin::testing
