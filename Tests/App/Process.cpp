#include "Tests/App/Process.hpp"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

namespace tavrin::testing {

Process::Process(const std::string& command) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  const std::string line = "exec " + command;
  child_ = fork();
  if (child_ == 0) {
    dup2(ends[1], STDOUT_FILENO);
    execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
    _exit(127);
  }
  close(ends[1]);
  output_ = ends[0];
}

Process::~Process() {
  kill(child_, SIGTERM);
  waitpid(child_, nullptr, 0);
  close(output_);
}

std::string Process::readLine() {
  std::string line;
  for (char c = 0; read(output_, &c, 1) == 1 && c != '\n';) line += c;
  return line;
}

}  // namespace tavrin::testing
