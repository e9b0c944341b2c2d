#pragma once

#include <sys/types.h>

#include <string>

namespace tavrin::testing {

/// A shell command that runs beside the test, and is ended with its owner.
class Process {
 public:
  explicit Process(const std::string& command);
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  /// The next line of its standard output, waited for; empty at the end.
  std::string readLine();

 private:
  pid_t child_ = -1;
  int output_ = -1;
};

}  // namespace tavrin::testing
