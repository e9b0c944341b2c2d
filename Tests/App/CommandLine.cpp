#include "Tests/App/CommandLine.hpp"

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <stdexcept>

namespace tavrin::testing {

CommandResult runCommand(const std::string& command) {
  const auto start = std::chrono::steady_clock::now();
  auto* pipe = popen(("exec 2>&1; timeout 100 " + command).c_str(), "r");
  if (pipe == nullptr) throw std::runtime_error("cannot run " + command);
  CommandResult result;
  std::array<char, 4096> buffer;
  for (std::size_t count = 0; (count = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0;) {
    result.output.append(buffer.data(), count);
  }
  const int status = pclose(pipe);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  result.time = std::chrono::steady_clock::now() - start;
  return result;
}

CommandResult runPlayer(const std::string& cacheDirectory, const std::string& arguments) {
  return runCommand("env XDG_CACHE_HOME=" + cacheDirectory + " " TAVRIN_WORKOUT_PLAYER " " +
                    arguments);
}

}  // namespace tavrin::testing
