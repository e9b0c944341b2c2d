#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "Tavrin/Foundation/FileDescriptor.hpp"
#include "Tavrin/Foundation/Mutex.hpp"
#include "Tavrin/Foundation/URL.hpp"
#include "Tavrin/Testing/HTTPScript.hpp"

namespace tavrin::testing {

/// An HTTP server on the loopback interface, one thread for all connections, whose answers are
/// scripts. It records every request.
///
/// Waiting operations return false when the condition does not come about within 30 seconds. Every
/// operation may be called from any thread.
class RangeServer {
 public:
  /// Listens on a free port.
  RangeServer();
  /// Closes all connections.
  ~RangeServer();
  RangeServer(const RangeServer&) = delete;
  RangeServer& operator=(const RangeServer&) = delete;

  std::uint16_t port() const { return port_; }
  /// The address of a path, which starts with "/".
  URL url(std::string_view path) const;

  /// Serves bytes under a path in the manner of that name (HTTPScript.hpp lists them).
  void serve(const std::string& path, HTTPResource resource, std::string_view behaviour = "plain");
  void serve(const std::string& path, std::string body, std::string_view behaviour = "plain");
  /// Serves as a function of the request says, which is called on the server's thread.
  void serve(const std::string& path, HTTPResource resource, HTTPBehaviour behaviour);
  /// Serves the same answer under a path whatever is asked.
  void serve(const std::string& path, HTTPScript script);

  /// Lets so many pauses of a path go on: those that are waiting, then the next.
  void release(const std::string& path, std::size_t pauses = 1);
  /// Lets every pause go on, of now and of later.
  void releaseAll();

  std::vector<HTTPRequest> requests() const;
  std::size_t countRequests(const std::string& path) const;

  /// Until so many pauses of a path have been reached, released ones included.
  bool waitForPauses(const std::string& path, std::size_t count) const;
  /// Until exactly so many connections are open.
  bool waitForConnections(std::size_t count) const;

 private:
  struct Connection;
  struct Served {
    HTTPResource resource;
    HTTPBehaviour behaviour;
  };

  void add(const std::string& path, Served served);
  void wake() const;
  bool waitUntil(const std::function<bool()>& done) const;

  void run();
  void accept();
  bool pump(Connection& connection);
  bool receive(Connection& connection);
  bool answerNext(Connection& connection);
  bool takeStep(Connection& connection);
  bool mayPass(Connection& connection);

  // Never change.
  const FileDescriptor listener_;
  const FileDescriptor wakeUp_;
  const std::uint16_t port_;

  // Server thread only.
  std::vector<std::unique_ptr<Connection>> connections_;

  mutable Mutex mutex_;
  mutable ConditionVariable changed_;
  std::map<std::string, Served> served_ TAVRIN_GUARDED_BY(mutex_);
  std::vector<HTTPRequest> requests_ TAVRIN_GUARDED_BY(mutex_);
  std::map<std::string, std::size_t> permits_ TAVRIN_GUARDED_BY(mutex_);
  std::map<std::string, std::size_t> pauses_ TAVRIN_GUARDED_BY(mutex_);
  std::size_t openConnections_ TAVRIN_GUARDED_BY(mutex_) = 0;
  bool isReleased_ TAVRIN_GUARDED_BY(mutex_) = false;
  bool isStopping_ TAVRIN_GUARDED_BY(mutex_) = false;

  std::thread thread_;
};

}  // namespace tavrin::testing
