#include "Tavrin/Curl/ReceiveWindow.hpp"

#include <algorithm>
#include <utility>

namespace tavrin::curl {

namespace {

using Seconds = std::chrono::duration<double>;

// A connection takes about as long to come up to its rate.
constexpr std::chrono::milliseconds interval(500);
// Of the time that an answer took to begin, which is one and a half round trips.
constexpr double partOfDelay = 0.75;
// A server that takes long to answer says nothing of the link; and a link may come to be slower in
// answering than it was.
constexpr Seconds leastTime(0.05), mostTime(0.5);
constexpr std::int64_t leastBytes = std::int64_t{16} * 1024;
constexpr std::int64_t leastRoom = 2 * leastBytes;
// No system gives a program less than this.
constexpr std::int64_t mostBytes = std::int64_t{192} * 1024;

}  // namespace

void ReceiveWindow::begin(Clock::time_point now, std::chrono::microseconds delay,
                          std::optional<std::int64_t> known) {
  known_ = known;
  time_ = std::clamp(partOfDelay * Seconds(delay), leastTime, mostTime);
  goOn(now);
}

void ReceiveWindow::goOn(Clock::time_point now) {
  countedFrom_ = now + interval;
  count_ = 0;
}

bool ReceiveWindow::received(std::int64_t bytes, Clock::time_point now) {
  if (now <= countedFrom_) return false;
  count_ += bytes;
  if (now < countedFrom_ + interval) return false;
  const auto rate =
      static_cast<double>(std::exchange(count_, 0)) / Seconds(now - countedFrom_).count();
  countedFrom_ = now;
  isSettled_ = this->bytes().has_value();
  rate_ = std::max(rate_, rate);
  return true;
}

std::optional<std::int64_t> ReceiveWindow::bytes() const {
  if (rate_ == 0) return known_;
  const auto held = static_cast<std::int64_t>(rate_ * time_.count());
  if (held > mostBytes) return std::nullopt;
  return std::max({held, known_.value_or(0), leastBytes});
}

std::optional<std::int64_t> ReceiveWindow::room() const {
  const auto window = bytes();
  if (!isSettled_ || !window) return std::nullopt;
  return std::max(2 * *window, leastRoom);
}

}  // namespace tavrin::curl
