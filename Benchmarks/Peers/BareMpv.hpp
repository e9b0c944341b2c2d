#pragma once

#include <chrono>
#include <memory>
#include <optional>

#include "Tavrin/Foundation/Data.hpp"

namespace tavrin::benchmarks {

/// libmpv used directly, as the engine's peer: one warm handle that opens bytes in memory and is
/// told nothing but what it needs. This is why the benchmarks may include its headers.
class BareMpv {
 public:
  explicit BareMpv(Data bytes);
  ~BareMpv();

  /// Milliseconds from the request to open the bytes, in a handle that is stopped and idle, until
  /// the first picture has been drawn. Absent when none comes.
  std::optional<double> open();

 private:
  struct Player;
  const std::unique_ptr<Player> player_;
};

}  // namespace tavrin::benchmarks
