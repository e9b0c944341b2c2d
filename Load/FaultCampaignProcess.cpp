#include "Load/FaultCampaignProcess.hpp"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "Load/MainLoop.hpp"

namespace tavrin::load {

namespace {

// One clock for all processes.
std::int64_t now() { return Clock::now().time_since_epoch().count(); }

[[noreturn]] void work(const std::function<std::vector<std::string>()>& work,
                       const std::filesystem::path& printed, int report) {
  static_cast<void>(std::freopen(printed.c_str(), "w", stdout));  // the library's own lines
  std::string text;
  for (auto line : work()) {
    std::ranges::replace(line, '\n', ' ');
    text += line + "\n";
  }
  text += std::to_string(now()) + "\n";
  static_cast<void>(!::write(report, text.data(), text.size()));
  std::exit(0);
}

// Everything until the other end is closed; what has come until then when the time is up.
std::string readAll(int descriptor, Clock::time_point deadline) {
  std::string text;
  char buffer[4096];
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    pollfd polled{descriptor, POLLIN, 0};
    if (left.count() <= 0 || ::poll(&polled, 1, static_cast<int>(left.count())) <= 0) return text;
    const auto count = ::read(descriptor, buffer, sizeof buffer);
    if (count <= 0) return text;
    text.append(buffer, static_cast<std::size_t>(count));
  }
}

std::string endOf(pid_t process, Clock::time_point deadline) {
  const bool isLate = Clock::now() >= deadline;
  if (isLate) ::kill(process, SIGKILL);
  int status = 0;
  ::waitpid(process, &status, 0);
  if (isLate) return "HUNG";
  if (WIFSIGNALED(status)) return "CRASHED, signal " + std::to_string(WTERMSIG(status));
  return status == 0 ? "" : "ENDED with " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

ProcessReport runInProcess(const std::function<std::vector<std::string>()>& toDo,
                           const std::filesystem::path& printed, std::chrono::seconds limit) {
  int ends[2];
  if (::pipe(ends) != 0) std::abort();
  std::fflush(stdout);
  const auto process = ::fork();
  if (process == 0) {
    ::close(ends[0]);
    work(toDo, printed, ends[1]);
  }
  ::close(ends[1]);
  const auto deadline = Clock::now() + limit;
  std::istringstream text(readAll(ends[0], deadline));
  ProcessReport report;
  report.end = endOf(process, deadline);
  const auto ended = now();
  ::close(ends[0]);
  for (std::string line; std::getline(text, line);) report.lines.push_back(line);
  if (!report.lines.empty() && report.end.empty()) {
    report.exitMilliseconds = static_cast<double>(ended - std::stoll(report.lines.back())) / 1e6;
    report.lines.pop_back();
  }
  return report;
}

}  // namespace tavrin::load
