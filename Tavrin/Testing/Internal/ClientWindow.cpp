#include "Tavrin/Testing/Internal/ClientWindow.hpp"

#include <linux/sockios.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace tavrin::testing {

namespace {

// How many bytes the client takes beyond those that its system has. Nothing once it is gone.
std::int64_t roomOf(const FileDescriptor& client) {
  tcp_info info{};
  socklen_t size = sizeof info;
  int untaken = 0;
  if (::getsockopt(client.get(), IPPROTO_TCP, TCP_INFO, &info, &size) != 0) return 0;
  if (::ioctl(client.get(), SIOCOUTQ, &untaken) != 0) return 0;
  return std::int64_t{info.tcpi_snd_wnd} - untaken;
}

}  // namespace

ClientWindow::ClientWindow(const FileDescriptor& client, Clock::duration delay)
    : delay_(delay), end_(roomOf(client)), lastEnd_(end_) {}

void ClientWindow::update(const FileDescriptor& client, std::int64_t delivered,
                          Clock::time_point now) {
  if (const auto end = delivered + roomOf(client); end > lastEnd_) {
    underWay_.push_back({now + delay_, end});
    lastEnd_ = end;
  }
  while (!underWay_.empty() && underWay_.front().arrival <= now) {
    end_ = underWay_.front().end;
    underWay_.pop_front();
  }
}

}  // namespace tavrin::testing
