#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "Tavrin/Foundation/URL.hpp"
#include "Tavrin/Testing/RangeServer.hpp"

namespace tavrin::testing {

/// A range server in a process of its own, so that a measurement of this process leaves it out.
///
/// It is forked, so it must be made before this process has a second thread. It ends with its
/// owner, and with this process.
class ServerProcess {
 public:
  /// `prepare` runs in the new process and says what is served.
  explicit ServerProcess(const std::function<void(RangeServer&)>& prepare);
  ~ServerProcess();
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;

  URL url(std::string_view path) const;

 private:
  pid_t process_ = -1;
  int alive_ = -1;  // the new process ends when this end of the pipe is closed
  std::uint16_t port_ = 0;
};

}  // namespace tavrin::testing
