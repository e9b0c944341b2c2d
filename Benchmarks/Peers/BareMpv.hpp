#pragma once

#include <chrono>
#include <memory>
#include <optional>

#include "Tavrin/Foundation/Data.hpp"
#include "Tavrin/Foundation/URL.hpp"

namespace tavrin::benchmarks {

/// libmpv used directly, as the engine's peer: one warm handle that opens bytes in memory, or an
/// address, and is told nothing but what it needs. This is why the benchmarks may include its
/// headers.
class BareMpv {
 public:
  explicit BareMpv(Data bytes);
  /// Reads the address over its own network, which the engine's libmpv does not have.
  explicit BareMpv(const URL& address);
  ~BareMpv();

  /// Milliseconds from the request to open them, in a handle that is stopped and idle, until
  /// the first picture has been drawn. Absent when none comes within 10 seconds.
  std::optional<double> open();

 private:
  struct Player;
  const std::unique_ptr<Player> player_;
};

}  // namespace tavrin::benchmarks
