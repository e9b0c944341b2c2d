#pragma once

#include <string>
#include <string_view>

#include "Tavrin/Foundation/URL.hpp"

namespace tavrin::testing {

/// What a certificate says of itself.
struct TLSCertificate {
  std::string names = "IP:127.0.0.1";
  int days = 1;  // from now; one of a negative number has expired
};

/// A server on 127.0.0.1 with a certificate of its own making, in a process that ends with this
/// one. It wants the port 4433: use it in a private network.
class TLSServer {
 public:
  /// Makes the certificate. What is served lies in the folder, too.
  explicit TLSServer(std::string folder, const TLSCertificate& certificate = {});

  /// A PEM file.
  std::string certificate() const { return folder_ + "/cert.pem"; }
  /// Serves an answer, status line and all, after which the connection ends.
  URL serve(const std::string& name, std::string_view answer) const;
  /// Returns when it listens. From a process with one thread that waits for nothing else.
  void start() const;

 private:
  const std::string folder_;
};

}  // namespace tavrin::testing
