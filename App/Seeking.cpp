#include "App/Seeking.hpp"

#include <utility>

namespace tavrin::app {

std::shared_ptr<Seeking> Seeking::make(std::function<void()> ended) {
  return std::shared_ptr<Seeking>(new Seeking(std::move(ended)));
}

void Seeking::to(double seconds, const std::shared_ptr<AVPlayer>& player, Clock::time_point now) {
  player_ = player;
  wanted_ = seconds;
  isUnderWay_ ? tick(now) : start(now);
}

void Seeking::tick(Clock::time_point now) {
  if (isWaiting(now) && wanted_ != sent_) start(now);
}

void Seeking::forget() {
  wanted_.reset();
  isUnderWay_ = false;
  ++serial_;
}

bool Seeking::isWaiting(Clock::time_point now) const {
  constexpr auto usual = std::chrono::milliseconds(300);
  return isUnderWay_ && now - start_ > usual;
}

void Seeking::start(Clock::time_point now) {
  const auto player = player_.lock();
  if (!player) return forget();
  isUnderWay_ = true;
  start_ = now;
  sent_ = *wanted_;
  player->seek(CMTime{sent_}, [weak = weak_from_this(), serial = ++serial_](bool) {
    if (const auto self = weak.lock()) self->seekEnded(serial);
  });
}

void Seeking::seekEnded(std::uint64_t serial) {
  if (serial != serial_) return;
  if (wanted_ != sent_) return start(Clock::now());
  forget();
  ended_();
}

}  // namespace tavrin::app
