#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "Tavrin/Testing/TemporaryDirectory.hpp"

namespace tavrin::testing {

/// Keeps what the process prints on standard output from the terminal while it lives, for reading
/// at any time.
class CapturedStdout {
 public:
  CapturedStdout() {
    std::fflush(stdout);
    std::FILE* file = std::fopen(path().c_str(), "w");
    if (file == nullptr) throw std::runtime_error("cannot capture standard output");
    dup2(fileno(file), STDOUT_FILENO);
    std::fclose(file);
  }
  ~CapturedStdout() {
    std::fflush(stdout);
    dup2(terminal_, STDOUT_FILENO);
    close(terminal_);
    if (::testing::Test::HasFailure()) std::fputs(text().c_str(), stdout);
  }
  CapturedStdout(const CapturedStdout&) = delete;
  CapturedStdout& operator=(const CapturedStdout&) = delete;

  std::string text() const {
    std::ifstream file(path(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  std::string path() const { return (directory_.path() / "stdout").string(); }

  TemporaryDirectory directory_;
  const int terminal_ = dup(STDOUT_FILENO);
};

}  // namespace tavrin::testing
