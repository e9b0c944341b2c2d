#include "Tavrin/Testing/Internal/LoopbackSocket.hpp"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include "Tavrin/Foundation/FatalError.hpp"

namespace tavrin::testing {

namespace {

sockaddr_in loopback(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  return address;
}

// A test's answers are small steps, and none may wait for the next.
void sendAtOnce(int socket) {
  const int on = 1;
  ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

}  // namespace

FileDescriptor listenOnLoopback() {
  FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  auto address = loopback(0);
  if (!socket.isOpen() ||
      ::bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      ::listen(socket.get(), SOMAXCONN) != 0) {
    fatalError("the test server cannot listen");
  }
  return socket;
}

std::uint16_t portOf(const FileDescriptor& socket) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  ::getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &size);
  return ntohs(address.sin_port);
}

FileDescriptor acceptFrom(const FileDescriptor& listener) {
  FileDescriptor socket(::accept4(listener.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
  if (socket.isOpen()) sendAtOnce(socket.get());
  return socket;
}

// Connecting within one machine does not wait: whoever listens need not have accepted.
FileDescriptor connectToLoopback(std::uint16_t port) {
  FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  auto address = loopback(port);
  if (!socket.isOpen() ||
      ::connect(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    return FileDescriptor(-1);
  }
  ::fcntl(socket.get(), F_SETFL, O_NONBLOCK);
  sendAtOnce(socket.get());
  return socket;
}

void resetOnClose(const FileDescriptor& socket) {
  const linger now{.l_onoff = 1, .l_linger = 0};
  ::setsockopt(socket.get(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
}

}  // namespace tavrin::testing
