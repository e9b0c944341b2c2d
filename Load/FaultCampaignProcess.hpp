#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace tavrin::load {

/// What a process of the campaign found out, and how it ended.
struct ProcessReport {
  std::vector<std::string> lines;
  /// Empty when it ended well.
  std::string end;
  /// From its call of `exit` to its end.
  double exitMilliseconds = 0;
};

/// Runs the work in a forked process, which then exits in the usual way, with its exit handlers. A
/// process that takes longer than the limit is ended. What it prints goes into a file.
ProcessReport runInProcess(const std::function<std::vector<std::string>()>& work,
                           const std::filesystem::path& printed, std::chrono::seconds limit);

}  // namespace tavrin::load
