#include "Tavrin/Testing/LinkSimulator.hpp"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include "Tavrin/Testing/Internal/LinkConnection.hpp"
#include "Tavrin/Testing/Internal/LoopbackSocket.hpp"

namespace tavrin::testing {

namespace {

constexpr std::chrono::seconds patience(30);
constexpr std::size_t largestPacket = 64UL * 1024;
// How much of the time in which its thread did not run the link makes up for.
constexpr std::chrono::milliseconds mostCatchingUp(50);
// How often the link asks whether a client takes more.
constexpr std::chrono::milliseconds clientCheck(1);

// A millisecond's worth, so that a fast link does not cost a call for each Ethernet frame.
std::size_t packetBytes(std::int64_t bytesPerSecond) {
  return std::clamp(static_cast<std::size_t>(bytesPerSecond / 1000), LinkConnection::leastPacket,
                    largestPacket);
}

// What a connection may have under way before it has to wait for its client: twice what the link
// holds in a round trip, and what the client has no room for.
std::int64_t windowBytes(std::int64_t bytesPerSecond, std::chrono::microseconds roundTrip) {
  const auto held = bytesPerSecond * roundTrip.count() / 1'000'000;
  return std::int64_t{64} * 1024 + 2 * held;
}

std::chrono::nanoseconds timeOf(std::size_t bytes, std::int64_t bytesPerSecond) {
  const auto seconds = static_cast<double>(bytes) / static_cast<double>(bytesPerSecond);
  return std::chrono::nanoseconds(std::llround(seconds * 1e9));
}

// Clients then see packets of one size, as from any link: a system takes others for another link.
FileDescriptor listenForPackets() {
  auto listener = listenOnLoopback();
  const int bytes = LinkConnection::leastPacket + 12;  // with the time that each has with it
  ::setsockopt(listener.get(), IPPROTO_TCP, TCP_MAXSEG, &bytes, sizeof bytes);
  return listener;
}

timespec asTimespec(std::chrono::nanoseconds time) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
  return {.tv_sec = seconds.count(), .tv_nsec = (time - seconds).count()};
}

}  // namespace

LinkSimulator::LinkSimulator(std::uint16_t serverPort, Settings settings)
    : listener_(listenForPackets()),
      wakeUp_(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)),
      serverPort_(serverPort),
      roundTrip_(settings.roundTrip),
      orders_{settings.bytesPerSecond, 0, false},
      thread_([this] { run(); }) {}

LinkSimulator::~LinkSimulator() {
  order([](Orders& orders) { orders.isStopping = true; });
  thread_.join();
}

URL LinkSimulator::url(std::string_view path) const {
  return *URL::parse("http://127.0.0.1:" + std::to_string(portOf(listener_)) + std::string(path));
}

void LinkSimulator::setRate(std::int64_t bytesPerSecond) {
  order([bytesPerSecond](Orders& orders) { orders.bytesPerSecond = bytesPerSecond; });
}

void LinkSimulator::drop() {
  order([](Orders& orders) { ++orders.drops; });
}

std::int64_t LinkSimulator::deliveredBytes() const {
  const LockGuard lock(mutex_);
  return deliveredBytes_;
}

bool LinkSimulator::waitForBytes(std::int64_t count) const {
  const auto deadline = Clock::now() + patience;
  const LockGuard lock(mutex_);
  while (deliveredBytes_ < count) {
    if (changed_.wait_until(mutex_, deadline) == std::cv_status::timeout) {
      return deliveredBytes_ >= count;
    }
  }
  return true;
}

LinkSimulator::Orders LinkSimulator::orders() const {
  const LockGuard lock(mutex_);
  return orders_;
}

void LinkSimulator::order(const std::function<void(Orders&)>& change) {
  {
    const LockGuard lock(mutex_);
    change(orders_);
  }
  const std::uint64_t one = 1;
  static_cast<void>(!::write(wakeUp_.get(), &one, sizeof one));
}

void LinkSimulator::run() {
  for (;;) {
    const auto orders = this->orders();
    if (orders.isStopping) break;
    const auto now = Clock::now();
    if (std::exchange(dropsSeen_, orders.drops) != orders.drops) {
      for (auto& connection : connections_) connection.reset();
      connections_.clear();
    }
    accept(now);
    for (auto& connection : connections_) connection.receive(now);
    deliver(now);  // first, for it makes room on the link
    share(now, orders.bytesPerSecond);
    wait(now, orders.bytesPerSecond);
  }
  connections_.clear();
}

// A client whose server is not there is refused late, by a reset.
void LinkSimulator::accept(Clock::time_point now) {
  for (;;) {
    auto client = acceptFrom(listener_);
    if (!client.isOpen()) return;
    auto server = connectToLoopback(serverPort_);
    if (server.isOpen()) {
      connections_.emplace_back(std::move(client), std::move(server), now + roundTrip_,
                                roundTrip_ / 2);
    } else {
      resetOnClose(client);
    }
  }
}

// One packet of each connection in turn, for as long as the link is free.
void LinkSimulator::share(Clock::time_point now, std::int64_t bytesPerSecond) {
  // An idle link saves nothing up.
  freeAt_ = std::max(freeAt_, isBusy_ ? now - mostCatchingUp : now);
  const auto window = windowBytes(bytesPerSecond, roundTrip_);
  const auto most = packetBytes(bytesPerSecond);
  const auto maySend = [window](const auto& connection) { return connection.maySend(window); };
  for (;;) {
    const auto next = std::ranges::find_if(connections_, maySend);
    isBusy_ = next != connections_.end();
    if (!isBusy_ || bytesPerSecond <= 0 || freeAt_ > now) return;
    freeAt_ += timeOf(next->packetBytes(most), bytesPerSecond);
    next->sendPacket(most, freeAt_ + roundTrip_ / 2);
    connections_.splice(connections_.end(), connections_, next);
  }
}

void LinkSimulator::deliver(Clock::time_point now) {
  std::int64_t count = 0;
  for (auto& connection : connections_) count += connection.deliver(now);
  std::erase_if(connections_, [](const auto& connection) { return connection.isOver(); });
  if (count == 0) return;
  const LockGuard lock(mutex_);
  deliveredBytes_ += count;
  changed_.notify_all();
}

void LinkSimulator::wait(Clock::time_point now, std::int64_t bytesPerSecond) {
  std::vector<pollfd> polled{{listener_.get(), POLLIN, 0}, {wakeUp_.get(), POLLIN, 0}};
  auto until = Clock::time_point::max();
  if (isBusy_ && bytesPerSecond > 0) until = freeAt_;
  for (const auto& connection : connections_) {
    polled.push_back(connection.clientEvents());
    polled.push_back(connection.serverEvents());
    if (const auto arrival = connection.nextArrival()) until = std::min(until, *arrival);
    if (connection.waitsForClient()) until = std::min(until, now + clientCheck);
  }
  const auto time = asTimespec(std::max(until - now, Clock::duration(0)));
  const auto* timeout = until == Clock::time_point::max() ? nullptr : &time;
  ::ppoll(polled.data(), polled.size(), timeout, nullptr);
  std::uint64_t ignored = 0;
  static_cast<void>(!::read(wakeUp_.get(), &ignored, sizeof ignored));
}

}  // namespace tavrin::testing
