#include "Tests/Support/PrivateNetwork.hpp"

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <fstream>

namespace tavrin::testing {

namespace {

bool raiseLoopback() {
  const int any = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  ifreq request{};
  std::strcpy(request.ifr_name, "lo");
  request.ifr_flags = IFF_UP;
  const bool isUp = ::ioctl(any, SIOCSIFFLAGS, &request) == 0;
  ::close(any);
  return isUp;
}

// Left open: what is sent to it stays in its queue.
bool listenSilently(std::uint16_t port) {
  const int server = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return ::bind(server, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
}

bool putInPlaceOf(const std::string& target, const std::string& file) {
  return ::mount(file.c_str(), target.c_str(), nullptr, MS_BIND, nullptr) == 0;
}

bool nameSilentServer() {
  const auto file = "/tmp/tavrin-resolv-" + std::to_string(::getpid());
  std::ofstream(file) << "nameserver 127.0.0.1\n";
  const bool isNamed = putInPlaceOf("/etc/resolv.conf", file);
  ::unlink(file.c_str());
  return isNamed;
}

}  // namespace

bool enterPrivateNetwork(const std::string& authority) {
  constexpr int spaces = CLONE_NEWUSER | CLONE_NEWNS | CLONE_NEWNET;
  constexpr std::uint16_t nameServerPort = 53;
  return ::unshare(spaces) == 0 &&
         ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 && raiseLoopback() &&
         listenSilently(nameServerPort) && nameSilentServer() &&
         (authority.empty() || putInPlaceOf("/etc/ssl/certs/ca-certificates.crt", authority));
}

bool canEnterPrivateNetwork() {
  const auto child = ::fork();
  if (child == 0) ::_exit(enterPrivateNetwork() ? 0 : 1);
  int status = 1;
  return child > 0 && ::waitpid(child, &status, 0) == child && status == 0;
}

}  // namespace tavrin::testing
