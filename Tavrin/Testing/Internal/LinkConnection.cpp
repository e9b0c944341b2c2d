#include "Tavrin/Testing/Internal/LinkConnection.hpp"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "Tavrin/Testing/Internal/LoopbackSocket.hpp"

namespace tavrin::testing {

namespace {

constexpr std::size_t mostWaiting = 64UL * 1024;  // bytes, in front of the link
constexpr std::size_t mostRequests = 64;          // pieces of them, on their way to the server

enum class Received { bytes, nothing, end, reset };

Received receiveFrom(const FileDescriptor& socket, std::string& bytes, std::size_t most) {
  std::array<char, 64UL * 1024> buffer;
  const auto count = ::recv(socket.get(), buffer.data(), std::min(most, buffer.size()), 0);
  if (count == 0) return Received::end;
  if (count < 0) return errno == EAGAIN ? Received::nothing : Received::reset;
  bytes.append(buffer.data(), static_cast<std::size_t>(count));
  return Received::bytes;
}

}  // namespace

bool LinkConnection::maySend(std::int64_t window) const {
  return sentBytes_ - deliveredBytes_ < window && packetBytes(leastPacket) > 0;
}

// The client's window leaves none that is less than a packet, as from a server: a system that is
// given more than the client takes holds the rest back, and joins it to what follows.
std::size_t LinkConnection::packetBytes(std::size_t most) const {
  const auto taken =
      static_cast<std::size_t>(std::max<std::int64_t>(window_.end() - sentBytes_, 0));
  if (taken < std::min(leastPacket, waiting_.size())) return 0;
  return std::min({most, waiting_.size(), taken});
}

void LinkConnection::receive(Clock::time_point now) {
  window_.update(client_, deliveredBytes_, now);
  if (!isServerGone_ && waiting_.size() < mostWaiting) {
    const auto received = receiveFrom(server_, waiting_, mostWaiting - waiting_.size());
    isServerGone_ = received == Received::end || received == Received::reset;
    if (received == Received::reset) resetOnClose(client_);
  }
  if (isClientGone_ || up_.size() >= mostRequests) return;
  Packet request{std::max(now, opensAt_) + delay_, {}, 0};
  const auto received = receiveFrom(client_, request.bytes, mostWaiting);
  if (received == Received::bytes) up_.push_back(std::move(request));
  isClientGone_ = received == Received::end || received == Received::reset;
}

void LinkConnection::sendPacket(std::size_t most, Clock::time_point arrival) {
  const auto size = packetBytes(most);
  down_.push_back({arrival, waiting_.substr(0, size), 0});
  waiting_.erase(0, size);
  sentBytes_ += std::ssize(down_.back().bytes);
}

std::int64_t LinkConnection::deliver(Clock::time_point now) {
  deliver(up_, server_, now, isServerBlocked_);
  const auto count = deliver(down_, client_, now, isClientBlocked_);
  deliveredBytes_ += count;
  return count;
}

std::int64_t LinkConnection::deliver(Packets& packets, const FileDescriptor& to,
                                     Clock::time_point now, bool& isBlocked) {
  std::int64_t total = 0;
  isBlocked = false;
  while (!packets.empty() && packets.front().arrival <= now) {
    auto& packet = packets.front();
    const auto count = ::send(to.get(), packet.bytes.data() + packet.sent,
                              packet.bytes.size() - packet.sent, MSG_NOSIGNAL);
    isBlocked = count < 0 && errno == EAGAIN;
    if (isBlocked) break;
    if (count < 0) {
      isClientGone_ = true;  // or the server: either way nothing more can come
      break;
    }
    packet.sent += static_cast<std::size_t>(count);
    total += count;
    if (packet.sent == packet.bytes.size()) packets.pop_front();
  }
  return total;
}

void LinkConnection::reset() {
  resetOnClose(client_);
  isClientGone_ = true;
}

pollfd LinkConnection::clientEvents() const {
  const int events = (up_.size() < mostRequests ? POLLIN : 0) | (isClientBlocked_ ? POLLOUT : 0);
  return {client_.get(), static_cast<short>(events), 0};
}

pollfd LinkConnection::serverEvents() const {
  const bool hasRoom = waiting_.size() < mostWaiting;
  const int events = (hasRoom ? POLLIN : 0) | (isServerBlocked_ ? POLLOUT : 0);
  // A socket that has ended would report so for ever.
  return {isServerGone_ || events == 0 ? -1 : server_.get(), static_cast<short>(events), 0};
}

std::optional<LinkConnection::Clock::time_point> LinkConnection::nextArrival() const {
  std::optional<Clock::time_point> next;
  if (!up_.empty() && !isServerBlocked_) next = up_.front().arrival;
  if (!down_.empty() && !isClientBlocked_) {
    next = std::min(next.value_or(Clock::time_point::max()), down_.front().arrival);
  }
  return next;
}

}  // namespace tavrin::testing
