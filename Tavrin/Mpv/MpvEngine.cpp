#include "Platform/Mpv/MpvEngine.hpp"

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Platform/Foundation/DispatchQueue.hpp"
#include "Platform/Foundation/Mutex.hpp"
#include "Platform/Mpv/Bell.hpp"
#include "Platform/Mpv/MpvLane.hpp"
#include "Platform/Mpv/MpvRequests.hpp"

namespace tavrin {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto timeToLeave = std::chrono::milliseconds(50);
constexpr std::size_t laneCount = 2;

// How long a released engine gives its loads to end by themselves before it ends their players.
constexpr auto timeToEnd = std::chrono::milliseconds(500);
/// Operations note what is wanted, and ring; the engine's thread brings libmpv in line with it.
class MpvEngine final : public MediaEngine {
 public:
  MpvEngine(std::weak_ptr<Listener> listener, MpvEngineOptions options)
      : listener_(std::move(listener)), options_(std::move(options)), thread_([this] { run(); }) {}
  ~MpvEngine() override;

  void load(LoadId load, std::shared_ptr<AVURLAsset> asset) override;
  void setPlaying(bool playing) override;
  void seek(CMTime time, std::function<void(bool)> completion) override;
  void setMuted(bool muted) override;
  void setWaitsToMinimizeStalling(bool waits) override;
  CMTime currentTime() const override;
  std::optional<CMTime> duration() const override;
  void setPictureHandler(std::function<void()> handler) override;
  std::optional<LoadId> draw(const PixelBuffer& target) override;

 private:
  /// What has been told of the current load.
  struct Told {
    bool ready = false;
    bool failed = false;
    bool end = false;
    bool stall = false;
  };

  void run();
  void turn(const MpvRequests::Wishes& wishes);
  void updateLanes();
  void chooseLane(const MpvRequests::Wishes& wishes);
  void leave(const MpvRequests::Wishes& wishes);
  void closeLeaving();
  MpvLane* idleLane();
  MpvLane* makeLane();
  void failWithoutLane(LoadId load);
  void show(MpvLane* lane);
  void applySettings(const MpvRequests::Wishes& wishes);
  void applySeek();
  void tell(const MpvRequests::Wishes& wishes);
  void tellFailure(LoadId load, const Error& error);
  void tellEnd(const MpvRequests::Wishes& wishes);
  void report(void (Listener::*call)(LoadId), LoadId load);
  void endLanes();

  // Constant after construction.
  const std::weak_ptr<Listener> listener_;
  const MpvEngineOptions options_;

  Bell bell_;
  MpvRequests requests_;
  Mutex handlerMutex_;
  std::function<void()> pictureHandler_ TAVRIN_GUARDED_BY(handlerMutex_);

  Mutex pictureMutex_;
  LoadId newestLoad_ TAVRIN_GUARDED_BY(pictureMutex_) = 0;
  MpvLane* shown_ TAVRIN_GUARDED_BY(pictureMutex_) = nullptr;  // that has the newest load's picture

  // The engine's thread alone. One lane plays; the other waits, warm and idle, for the next load.
  std::vector<std::unique_ptr<MpvLane>> lanes_;
  MpvLane* current_ = nullptr;
  MpvLane* leaving_ = nullptr;  // has been replaced and is about to be closed
  Clock::time_point leavingUntil_;
  Told told_;
  std::uint64_t issuedSeek_ = 0;
  std::string whyNoLane_;
  LoadId failedLoad_ = 0;  // told to have failed because there is no lane

  std::thread thread_;  // last, so that it finds the rest in place
};

MpvEngine::~MpvEngine() {
  requests_.release();
  bell_.ring();
  thread_.join();
}

// The picture first: from here on it is of no older load, even before this one is asked for.
void MpvEngine::load(LoadId load, std::shared_ptr<AVURLAsset> asset) {
  {
    const LockGuard lock(pictureMutex_);
    if (load >= newestLoad_) {
      newestLoad_ = load;
      shown_ = nullptr;
    }
  }
  requests_.load(load, std::move(asset));
  bell_.ring();
}

void MpvEngine::setPlaying(bool playing) {
  requests_.setPlaying(playing);
  bell_.ring();
}

void MpvEngine::seek(CMTime time, std::function<void(bool)> completion) {
  requests_.seek(time.seconds, std::move(completion));
  bell_.ring();
}

void MpvEngine::setMuted(bool muted) {
  requests_.setMuted(muted);
  bell_.ring();
}

void MpvEngine::setWaitsToMinimizeStalling(bool waits) {
  requests_.setWaits(waits);
  bell_.ring();
}

CMTime MpvEngine::currentTime() const { return {requests_.position()}; }

std::optional<CMTime> MpvEngine::duration() const {
  const auto seconds = requests_.duration();
  return seconds ? std::optional(CMTime{*seconds}) : std::nullopt;
}

void MpvEngine::setPictureHandler(std::function<void()> handler) {
  const LockGuard lock(handlerMutex_);
  pictureHandler_ = std::move(handler);
}

std::optional<MediaEngine::LoadId> MpvEngine::draw(const PixelBuffer& target) {
  const LockGuard lock(pictureMutex_);
  if (!shown_ || !shown_->draw(target)) return std::nullopt;
  return newestLoad_;
}

void MpvEngine::run() {
  makeLane();
  for (;;) {
    const auto wishes = requests_.wishes();
    if (wishes.isReleased) break;
    turn(wishes);
    if (leaving_) {
      bell_.waitUntil(leavingUntil_);
    } else {
      bell_.wait();
    }
  }
  endLanes();
}

void MpvEngine::turn(const MpvRequests::Wishes& wishes) {
  chooseLane(wishes);
  updateLanes();
  chooseLane(wishes);
  if (!current_) return;
  const auto& load = current_->load();
  requests_.publishTimes(load.id, load.position, load.duration);
  applySeek();
  applySettings(wishes);
  tell(wishes);
}

void MpvEngine::updateLanes() {
  for (const auto& lane : lanes_) {
    const bool hasNewPicture = lane->update(options_.logError);
    if (lane.get() != current_ || !hasNewPicture) continue;
    show(current_);
    std::function<void()> handler;
    {
      const LockGuard lock(handlerMutex_);
      handler = pictureHandler_;
    }
    if (handler) handler();
  }
}

void MpvEngine::chooseLane(const MpvRequests::Wishes& wishes) {
  if (current_ && current_->load().id != wishes.load) leave(wishes);
  if (!current_ && wishes.asset) {
    current_ = idleLane();
    if (lanes_.empty()) return failWithoutLane(wishes.load);
    if (!current_) return closeLeaving();  // the bell rings when a lane has become idle
    told_ = {};
    current_->setMuted(wishes.isMuted);
    current_->setWaitsToMinimizeStalling(wishes.waits);
    current_->open(wishes.load, wishes.asset);
  }
  const bool isNeeded = current_ && !current_->isReady() && !current_->load().failure;
  if (!isNeeded || Clock::now() >= leavingUntil_) closeLeaving();
}

// Closing takes longer than opening, and would slow it down: it waits for the next load's picture,
// or a moment. Meanwhile the load is held, and hidden.
void MpvEngine::leave(const MpvRequests::Wishes& wishes) {
  show(nullptr);
  closeLeaving();
  std::swap(leaving_, current_);
  if (!wishes.asset || !leaving_->isReady()) return closeLeaving();
  leaving_->setPlaying(false);
  leavingUntil_ = Clock::now() + timeToLeave;
}

void MpvEngine::closeLeaving() {
  if (auto* lane = std::exchange(leaving_, nullptr)) lane->close();
}

MpvLane* MpvEngine::idleLane() {
  for (const auto& lane : lanes_) {
    if (lane->isIdle()) return lane.get();
  }
  return lanes_.size() < laneCount ? makeLane() : nullptr;
}

MpvLane* MpvEngine::makeLane() {
  auto handle = MpvHandle::make(options_, bell_, whyNoLane_);
  if (!handle) return nullptr;
  return lanes_.emplace_back(std::make_unique<MpvLane>(std::move(handle))).get();
}

void MpvEngine::failWithoutLane(LoadId load) {
  requests_.endAnySeek();
  if (std::exchange(failedLoad_, load) != load) tellFailure(load, {whyNoLane_});
}

void MpvEngine::show(MpvLane* lane) {
  const LockGuard lock(pictureMutex_);
  shown_ = lane && lane->load().id == newestLoad_ ? lane : nullptr;
}

void MpvEngine::applySettings(const MpvRequests::Wishes& wishes) {
  current_->setMuted(wishes.isMuted);
  current_->setWaitsToMinimizeStalling(wishes.waits);
  // Opening is quickest paused; the first picture comes out all the same.
  if (current_->isReady()) current_->setPlaying(wishes.isPlaying);
}

void MpvEngine::applySeek() {
  if (const auto end = current_->takeSeekEnd()) requests_.endSeek(end->serial, end->finished);
  const auto& load = current_->load();
  const auto seek = requests_.seekOf(load.id);
  if (!seek || seek->serial == issuedSeek_) return;
  if (load.failure) {
    requests_.endSeek(seek->serial, false);
  } else if (seek->seconds <= 0 && !load.hasLeftStart) {
    requests_.endSeek(seek->serial, true);  // without waiting for a first byte that may never come
  } else if (current_->isReady()) {
    issuedSeek_ = seek->serial;
    told_.end = false;
    current_->seek(seek->serial, seek->seconds);
  }
}

void MpvEngine::tell(const MpvRequests::Wishes& wishes) {
  const auto& load = current_->load();
  tellEnd(wishes);
  if (load.failure) {
    if (std::exchange(told_.failed, true)) return;
    show(nullptr);
    tellFailure(load.id, *load.failure);
    return;
  }
  if (load.hasPicture && !std::exchange(told_.ready, true)) {
    show(current_);
    report(&Listener::engineDidBecomeReady, load.id);
    if (lanes_.size() < laneCount) makeLane();
  }
  if (!load.isStarved) {
    told_.stall = false;
  } else if (wishes.isPlaying && load.hasMoved && !std::exchange(told_.stall, true)) {
    report(&Listener::engineDidStall, load.id);
  }
}

void MpvEngine::tellEnd(const MpvRequests::Wishes& wishes) {
  const auto& load = current_->load();
  if (!load.isAtEnd || load.failure || current_->isSeeking()) return;
  if (current_->failIfCutShort()) return;
  if (wishes.isPlaying && !std::exchange(told_.end, true)) {
    report(&Listener::engineDidPlayToEnd, load.id);
  }
}

void MpvEngine::report(void (Listener::*call)(LoadId), LoadId load) {
  DispatchQueue::main().async([weak = listener_, call, load] {
    if (const auto listener = weak.lock()) (listener.get()->*call)(load);
  });
}

void MpvEngine::tellFailure(LoadId load, const Error& error) {
  DispatchQueue::main().async([weak = listener_, load, error] {
    if (const auto listener = weak.lock()) listener->engineDidFail(load, error);
  });
}

// A player that is ended while a load is open waits longer than one whose load has ended.
void MpvEngine::endLanes() {
  show(nullptr);
  for (const auto& lane : lanes_) lane->close();
  const auto areIdle = [this] {
    return std::ranges::all_of(lanes_, [](const auto& lane) { return lane->isIdle(); });
  };
  const auto deadline = Clock::now() + timeToEnd;
  // What came before the release has to be taken in first: libmpv rings once until it has been.
  do {
    for (const auto& lane : lanes_) lane->update(nullptr);
  } while (!areIdle() && bell_.waitUntil(deadline));
  lanes_.clear();
  requests_.endAnySeek();
}

}  // namespace

std::unique_ptr<MediaEngine> makeMpvEngine(std::weak_ptr<MediaEngine::Listener> listener,
                                           MpvEngineOptions options) {
  return std::make_unique<MpvEngine>(std::move(listener), std::move(options));
}

}  // namespace tavrin
