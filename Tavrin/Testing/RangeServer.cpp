#include "Tavrin/Testing/RangeServer.hpp"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <utility>

#include "Tavrin/Testing/Internal/LoopbackSocket.hpp"

namespace tavrin::testing {

struct RangeServer::Connection {
  explicit Connection(FileDescriptor accepted) : socket(std::move(accepted)) {}

  bool isAnswering() const { return next < script.size(); }

  const FileDescriptor socket;
  std::string received;
  std::string path;
  HTTPScript script;
  std::size_t next = 0;         // step of the script
  std::size_t sent = 0;         // bytes of that step
  bool isBlocked = false;       // the socket takes no more
  bool isPauseCounted = false;  // the pause it stands at has been counted
};

namespace {

constexpr std::chrono::seconds patience(30);

}  // namespace

RangeServer::RangeServer()
    : listener_(listenOnLoopback()),
      wakeUp_(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)),
      port_(portOf(listener_)),
      thread_([this] { run(); }) {}

RangeServer::~RangeServer() {
  {
    const LockGuard lock(mutex_);
    isStopping_ = true;
  }
  wake();
  thread_.join();
}

URL RangeServer::url(std::string_view path) const {
  return *URL::parse("http://127.0.0.1:" + std::to_string(port_) + std::string(path));
}

void RangeServer::serve(const std::string& path, HTTPResource resource,
                        std::string_view behaviour) {
  add(path, {std::move(resource), httpBehaviour(behaviour)});
}

void RangeServer::serve(const std::string& path, std::string body, std::string_view behaviour) {
  serve(path, HTTPResource{.body = shareBytes(std::move(body))}, behaviour);
}

void RangeServer::serve(const std::string& path, HTTPResource resource, HTTPBehaviour behaviour) {
  add(path, {std::move(resource), std::move(behaviour)});
}

void RangeServer::serve(const std::string& path, HTTPScript script) {
  add(path, {{}, [script = std::move(script)](const auto&, const auto&) { return script; }});
}

void RangeServer::add(const std::string& path, Served served) {
  const LockGuard lock(mutex_);
  served_.insert_or_assign(path, std::move(served));
}

void RangeServer::release(const std::string& path, std::size_t pauses) {
  {
    const LockGuard lock(mutex_);
    permits_[path] += pauses;
  }
  wake();
}

void RangeServer::releaseAll() {
  {
    const LockGuard lock(mutex_);
    isReleased_ = true;
  }
  wake();
}

std::vector<HTTPRequest> RangeServer::requests() const {
  const LockGuard lock(mutex_);
  return requests_;
}

std::size_t RangeServer::countRequests(const std::string& path) const {
  const auto all = requests();
  return static_cast<std::size_t>(
      std::ranges::count_if(all, [&](const auto& request) { return request.path == path; }));
}

bool RangeServer::waitForPauses(const std::string& path, std::size_t count) const {
  return waitUntil([&]() TAVRIN_REQUIRES(mutex_) {
    const auto found = pauses_.find(path);
    return found != pauses_.end() && found->second >= count;
  });
}

bool RangeServer::waitForConnections(std::size_t count) const {
  return waitUntil([&]() TAVRIN_REQUIRES(mutex_) { return openConnections_ == count; });
}

bool RangeServer::waitUntil(const std::function<bool()>& done) const {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  const LockGuard lock(mutex_);
  while (!done()) {
    if (changed_.wait_until(mutex_, deadline) == std::cv_status::timeout) return done();
  }
  return true;
}

void RangeServer::wake() const {
  const std::uint64_t one = 1;
  static_cast<void>(!::write(wakeUp_.get(), &one, sizeof one));
}

void RangeServer::run() {
  std::vector<pollfd> polled;
  for (;;) {
    {
      const LockGuard lock(mutex_);
      openConnections_ = connections_.size();
      changed_.notify_all();
      if (isStopping_) break;
    }
    polled.assign({{listener_.get(), POLLIN, 0}, {wakeUp_.get(), POLLIN, 0}});
    for (const auto& connection : connections_) {
      const int events = connection->isBlocked ? POLLIN | POLLOUT : POLLIN;
      polled.push_back({connection->socket.get(), static_cast<short>(events), 0});
    }
    ::poll(polled.data(), polled.size(), -1);

    const bool isWoken = polled[1].revents != 0;
    std::uint64_t ignored = 0;
    if (isWoken) static_cast<void>(!::read(wakeUp_.get(), &ignored, sizeof ignored));
    for (std::size_t i = 0; i < connections_.size(); ++i) {
      auto& connection = connections_[i];
      const auto events = polled[i + 2].revents;
      const bool isOpen = (events & (POLLIN | POLLHUP | POLLERR)) == 0 || receive(*connection);
      if (!isOpen || ((isWoken || events != 0) && !pump(*connection))) connection.reset();
    }
    std::erase(connections_, nullptr);
    if (polled[0].revents != 0) accept();
  }
  connections_.clear();
}

void RangeServer::accept() {
  for (;;) {
    auto socket = acceptFrom(listener_);
    if (!socket.isOpen()) return;
    connections_.push_back(std::make_unique<Connection>(std::move(socket)));
  }
}

// False when the client has gone.
bool RangeServer::receive(Connection& connection) {
  std::array<char, 16384> buffer;
  for (;;) {
    const auto count = ::recv(connection.socket.get(), buffer.data(), buffer.size(), 0);
    if (count < 0) return errno == EAGAIN;
    if (count == 0) return false;
    connection.received.append(buffer.data(), static_cast<std::size_t>(count));
  }
}

// Answers as far as the socket, the pauses and the requests allow. False to end the connection.
bool RangeServer::pump(Connection& connection) {
  connection.isBlocked = false;
  for (;;) {
    if (!connection.isAnswering()) {
      if (!answerNext(connection)) return true;
      continue;
    }
    const auto before = connection.next;
    if (!takeStep(connection)) return false;
    if (connection.next == before) return true;
  }
}

// False when no request waits.
bool RangeServer::answerNext(Connection& connection) {
  const auto request = HTTPRequest::parse(connection.received);
  if (!request) return false;
  std::optional<Served> served;
  {
    const LockGuard lock(mutex_);
    requests_.push_back(*request);
    const auto found = served_.find(request->path);
    if (found != served_.end()) served = found->second;
    changed_.notify_all();
  }
  connection.path = request->path;
  connection.next = 0;
  connection.script = served ? served->behaviour(*request, served->resource)
                             : httpBehaviour("not found")(*request, {});
  return true;
}

// Moves to the next step when this one is done. False to end the connection.
bool RangeServer::takeStep(Connection& connection) {
  const auto& step = connection.script[connection.next];
  switch (step.kind) {
    case HTTPStep::Kind::close:
      return false;
    case HTTPStep::Kind::reset:
      resetOnClose(connection.socket);
      return false;
    case HTTPStep::Kind::pause:
      if (mayPass(connection)) ++connection.next;
      return true;
    case HTTPStep::Kind::send:
      break;
  }
  const auto* from = step.bytes->data() + step.offset + connection.sent;
  const auto count =
      ::send(connection.socket.get(), from, step.length - connection.sent, MSG_NOSIGNAL);
  if (count < 0 && errno != EAGAIN) return false;
  if (count > 0) connection.sent += static_cast<std::size_t>(count);
  connection.isBlocked = connection.sent < step.length;
  if (connection.isBlocked) return true;
  connection.sent = 0;
  ++connection.next;
  return true;
}

bool RangeServer::mayPass(Connection& connection) {
  const LockGuard lock(mutex_);
  if (!std::exchange(connection.isPauseCounted, true)) {
    ++pauses_[connection.path];
    changed_.notify_all();
  }
  auto& permits = permits_[connection.path];
  if (!isReleased_ && permits == 0) return false;
  if (!isReleased_) --permits;
  connection.isPauseCounted = false;
  return true;
}

}  // namespace tavrin::testing
