#include "Tests/Support/Command.hpp"

#include <sys/wait.h>

#include <array>
#include <cstdio>

namespace tavrin::testing {

CommandResult runCommand(const std::string& command) {
  const auto start = std::chrono::steady_clock::now();
  CommandResult result;
  // The inner shell is the one that meets the signal, and tells of it as a status.
  FILE* const pipe = popen(("{ " + command + "; } 2>&1").c_str(), "r");
  if (pipe == nullptr) return {"cannot start a shell", -1, {}};
  std::array<char, 4096> buffer{};
  while (const auto count = std::fread(buffer.data(), 1, buffer.size(), pipe)) {
    result.output.append(buffer.data(), count);
  }
  const int status = pclose(pipe);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  result.time = std::chrono::steady_clock::now() - start;
  return result;
}

}  // namespace tavrin::testing
