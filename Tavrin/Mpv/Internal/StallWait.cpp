#include "Tavrin/Mpv/Internal/StallWait.hpp"

#include <algorithm>

namespace tavrin {

namespace {

// The rest of a clip may be denser than its mean.
constexpr double margin = 1.1;

}  // namespace

// While `left` seconds are played, `left * rate / clipRate` seconds of play come: the difference
// has to be there before.
double StallWait::stock() const {
  if (waited >= longest || left <= 0 || clipRate <= 0) return leastStock;
  if (waited < leastMeasured) return mostStock;
  const double rate = bytesCome / waited;
  const double missing = left * (1 - rate / (clipRate * margin));
  return std::clamp(missing, leastStock, mostStock);
}

}  // namespace tavrin
