#include "App/Patience.hpp"

#include <cstdlib>
#include <sstream>
#include <utility>

namespace tavrin::app {

bool Patience::update(const Signs& signs, Clock::time_point now) {
  constexpr std::int64_t least = 4 << 10;  // fewer bytes are a server that only keeps us waiting
  const bool hasPlayed = std::exchange(last_.seconds, signs.seconds) != signs.seconds;
  const bool hasReceived = std::abs(signs.received - last_.received) >= least;
  if (hasReceived) last_.received = signs.received;
  if (hasPlayed || hasReceived) restart(now);
  return hasPlayed;
}

std::string Patience::text() const {
  std::ostringstream text;
  text << static_cast<double>(limit_.count()) / 1000 << " s";
  return text.str();
}

}  // namespace tavrin::app
