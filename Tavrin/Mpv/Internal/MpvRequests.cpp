#include "Tavrin/Mpv/Internal/MpvRequests.hpp"

#include <utility>

#include "Tavrin/Foundation/DispatchQueue.hpp"

namespace tavrin {

namespace {

using Clock = std::chrono::steady_clock;

void post(MpvRequests::Completion completion, bool finished) {
  if (!completion) return;
  DispatchQueue::main().async(
      [completion = std::move(completion), finished] { completion(finished); });
}

}  // namespace

MpvRequests::Wishes MpvRequests::wishes() const {
  const LockGuard lock(mutex_);
  return wishes_;
}

void MpvRequests::set(bool Wishes::* wish, bool value) {
  const LockGuard lock(mutex_);
  if (std::exchange(wishes_.*wish, value) != value) wishes_.asked = Clock::now();
}

void MpvRequests::load(LoadId load, std::shared_ptr<AVURLAsset> asset) {
  std::optional<Seek> overtaken;
  {
    const LockGuard lock(mutex_);
    if (load < wishes_.load) return;  // another thread has already asked for a newer one
    wishes_.load = load;
    wishes_.asked = Clock::now();
    std::swap(wishes_.asset, asset);
    std::swap(seek_, overtaken);
  }
  if (overtaken) post(std::move(overtaken->completion), false);
}

void MpvRequests::expect(std::vector<std::shared_ptr<AVURLAsset>> assets) {
  const LockGuard lock(mutex_);
  if (wishes_.expected == assets) return;
  wishes_.asked = Clock::now();
  wishes_.expected.swap(assets);  // let go without the lock
}

void MpvRequests::seek(double seconds, Completion completion) {
  std::optional<Seek> overtaken;
  {
    const LockGuard lock(mutex_);
    overtaken = std::exchange(seek_, std::nullopt);
    wishes_.asked = Clock::now();
    if (wishes_.asset) {
      seek_ = Seek{{++lastSeek_, seconds}, std::exchange(completion, nullptr)};
    }
  }
  if (overtaken) post(std::move(overtaken->completion), false);
  post(std::move(completion), false);
}

std::optional<MpvRequests::SeekTarget> MpvRequests::seekOf(LoadId load) const {
  const LockGuard lock(mutex_);
  if (!seek_ || wishes_.load != load) return std::nullopt;
  return seek_->target;
}

void MpvRequests::endSeek(std::uint64_t serial, bool finished) {
  std::optional<Seek> ended;
  {
    const LockGuard lock(mutex_);
    if (!seek_ || seek_->target.serial != serial) return;
    std::swap(seek_, ended);
  }
  post(std::move(ended->completion), finished);
}

void MpvRequests::endAnySeek() {
  std::optional<Seek> ended;
  {
    const LockGuard lock(mutex_);
    std::swap(seek_, ended);
  }
  if (ended) post(std::move(ended->completion), false);
}

void MpvRequests::publishTimes(LoadId load, double position, double duration) {
  const LockGuard lock(mutex_);
  timesLoad_ = load;
  position_ = position;
  duration_ = duration;
}

bool MpvRequests::areTimesCurrent() const { return wishes_.asset && timesLoad_ == wishes_.load; }

double MpvRequests::position() const {
  const LockGuard lock(mutex_);
  return areTimesCurrent() ? position_ : 0;
}

std::optional<double> MpvRequests::duration() const {
  const LockGuard lock(mutex_);
  if (!areTimesCurrent() || duration_ <= 0) return std::nullopt;
  return duration_;
}

}  // namespace tavrin
