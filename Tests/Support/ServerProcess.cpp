#include "Tests/Support/ServerProcess.hpp"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>

#include "Tavrin/Foundation/FatalError.hpp"

namespace tavrin::testing {

namespace {

[[noreturn]] void serve(const std::function<void(RangeServer&)>& prepare, int port, int alive) {
  {
    RangeServer server;
    prepare(server);
    const auto number = server.port();
    static_cast<void>(!::write(port, &number, sizeof number));
    char ignored = 0;
    static_cast<void>(!::read(alive, &ignored, 1));
  }
  ::_exit(0);
}

}  // namespace

ServerProcess::ServerProcess(const std::function<void(RangeServer&)>& prepare) {
  std::array<int, 2> port{};
  std::array<int, 2> alive{};
  if (::pipe2(port.data(), O_CLOEXEC) != 0 || ::pipe2(alive.data(), O_CLOEXEC) != 0) {
    fatalError("no pipe to the server");
  }
  process_ = ::fork();
  if (process_ < 0) fatalError("no process for the server");
  if (process_ == 0) {
    ::close(alive[1]);
    serve(prepare, port[1], alive[0]);
  }
  ::close(alive[0]);
  ::close(port[1]);
  alive_ = alive[1];
  if (::read(port[0], &port_, sizeof port_) != sizeof port_) fatalError("no server");
  ::close(port[0]);
}

ServerProcess::~ServerProcess() {
  ::close(alive_);
  ::waitpid(process_, nullptr, 0);
}

URL ServerProcess::url(std::string_view path) const {
  return *URL::parse("http://127.0.0.1:" + std::to_string(port_) + std::string(path));
}

}  // namespace tavrin::testing
