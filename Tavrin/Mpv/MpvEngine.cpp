#include "Tavrin/Mpv/MpvEngine.hpp"

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/Foundation/Internal/ProcessEnd.hpp"
#include "Tavrin/Foundation/Mutex.hpp"
#include "Tavrin/Mpv/Internal/Bell.hpp"
#include "Tavrin/Mpv/Internal/MpvAhead.hpp"
#include "Tavrin/Mpv/Internal/MpvLanes.hpp"
#include "Tavrin/Mpv/Internal/MpvRequests.hpp"

namespace tavrin {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto timeToLeave = std::chrono::milliseconds(50);
// For so long nothing may have been asked for before anything is opened ahead: steps in quick
// succession are not slowed by it.
constexpr auto calmTime = std::chrono::milliseconds(150);

// How long a released engine gives its loads to end by themselves before it ends their players.
constexpr auto timeToEnd = std::chrono::milliseconds(500);

/// Operations note what is wanted, and ring; the engine's thread brings libmpv in line with it.
class MpvEngine final : public MediaEngine {
 public:
  MpvEngine(std::weak_ptr<Listener> listener, MpvEngineOptions options)
      : listener_(std::move(listener)),
        options_(std::move(options)),
        ahead_(lanes_, [bell = bell_] { bell->ring(); }),
        thread_([this] { run(); }) {}
  ~MpvEngine() override;

  void load(LoadId load, std::shared_ptr<AVURLAsset> asset) override;
  void expect(std::vector<std::shared_ptr<AVURLAsset>> assets) override;
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
  void openLoad(const MpvRequests::Wishes& wishes);
  void openAhead(const MpvRequests::Wishes& wishes);
  void drawAhead();
  bool playsWithoutHurry(const MpvRequests::Wishes& wishes) const;
  void waitForBell();
  void failWithoutLane(LoadId load);
  void show(MpvLane* lane);
  void showPicture(DrawnPicture drawn = {});
  void applySettings(const MpvRequests::Wishes& wishes);
  void applySeek();
  void tell(const MpvRequests::Wishes& wishes);
  void tellFailure(LoadId load, const Error& error);
  void tellEnd(const MpvRequests::Wishes& wishes);
  void report(void (Listener::*call)(LoadId), LoadId load);

  // Constant after construction.
  const std::weak_ptr<Listener> listener_;
  const MpvEngineOptions options_;

  const std::shared_ptr<Bell> bell_ = std::make_shared<Bell>();
  MpvRequests requests_;
  Mutex handlerMutex_;
  std::function<void()> pictureHandler_ TAVRIN_GUARDED_BY(handlerMutex_);

  Mutex pictureMutex_;
  LoadId newestLoad_ TAVRIN_GUARDED_BY(pictureMutex_) = 0;
  MpvLane* shown_ TAVRIN_GUARDED_BY(pictureMutex_) = nullptr;  // that has the newest load's picture
  DrawnPicture drawn_ TAVRIN_GUARDED_BY(pictureMutex_);        // its current picture, if it is that
  // The size that the host has drawn in last, in pixels; 0 before.
  int hostWidth_ TAVRIN_GUARDED_BY(pictureMutex_) = 0;
  int hostHeight_ TAVRIN_GUARDED_BY(pictureMutex_) = 0;

  // The engine's thread alone. One lane plays, one leaves or waits, warm and idle, for a load that
  // nobody expected; others are open ahead.
  MpvLanes lanes_{options_, *bell_};
  MpvAhead ahead_;
  MpvLane* current_ = nullptr;
  MpvLane* leaving_ = nullptr;  // has been replaced and is about to be closed
  Clock::time_point leavingUntil_;
  Clock::time_point readySince_;
  std::optional<Clock::time_point> wakesAt_;  // for what has to wait for a calm moment
  Told told_;
  std::uint64_t issuedSeek_ = 0;
  LoadId failedLoad_ = 0;  // told to have failed because there is no lane

  const std::uint64_t process_ = processNumber();
  std::thread thread_;  // last, so that it finds the rest in place
};

MpvEngine::~MpvEngine() {
  if (process_ != processNumber()) {
    // In a forked child no thread of libmpv's is there to be ended.
    static_cast<void>(new auto(std::move(lanes_)));
    static_cast<void>(new auto(std::move(thread_)));
    return;
  }
  requests_.release();
  bell_->ring();
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
  bell_->ring();
}

void MpvEngine::expect(std::vector<std::shared_ptr<AVURLAsset>> assets) {
  requests_.expect(std::move(assets));
  bell_->ring();
}

void MpvEngine::setPlaying(bool playing) {
  requests_.setPlaying(playing);
  bell_->ring();
}

void MpvEngine::seek(CMTime time, std::function<void(bool)> completion) {
  requests_.seek(time.seconds, std::move(completion));
  bell_->ring();
}

void MpvEngine::setMuted(bool muted) {
  requests_.setMuted(muted);
  bell_->ring();
}

void MpvEngine::setWaitsToMinimizeStalling(bool waits) {
  requests_.setWaits(waits);
  bell_->ring();
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
  if (!target.canBeDrawn()) return std::nullopt;
  hostWidth_ = target.width;
  hostHeight_ = target.height;
  if (!shown_) return std::nullopt;
  if (!drawn_.copyTo(target) && !shown_->draw(target)) return std::nullopt;
  return newestLoad_;
}

void MpvEngine::run() {
  lanes_.idleForLoad();  // warm before the first load
  for (;;) {
    const auto wishes = requests_.wishes();
    if (wishes.isReleased) break;
    turn(wishes);
    waitForBell();
  }
  show(nullptr);
  lanes_.end(Clock::now() + timeToEnd);
  requests_.endAnySeek();
}

void MpvEngine::waitForBell() {
  auto until = wakesAt_;
  const auto review = current_ ? current_->reviewStall() : std::nullopt;
  if (review) until = until ? std::min(*until, *review) : review;
  if (leaving_) until = until ? std::min(*until, leavingUntil_) : leavingUntil_;
  if (until) {
    bell_->waitUntil(*until);
  } else {
    bell_->wait();
  }
}

void MpvEngine::turn(const MpvRequests::Wishes& wishes) {
  chooseLane(wishes);
  updateLanes();
  chooseLane(wishes);
  if (current_) {
    const auto& load = current_->load();
    requests_.publishTimes(load.id, load.position, load.duration);
    applySeek();
    applySettings(wishes);
    tell(wishes);
  }
  openAhead(wishes);
}

// Of what is open ahead nothing is told, nor are its errors: they come again when it is loaded.
void MpvEngine::updateLanes() {
  lanes_.forEach([this](MpvLane& lane) {
    const bool isCurrent = &lane == current_;
    const bool hasNewPicture = lane.update(isCurrent ? options_.logError : nullptr);
    if (isCurrent && hasNewPicture) showPicture();
  });
}

void MpvEngine::showPicture(DrawnPicture drawn) {
  show(current_);
  {
    const LockGuard lock(pictureMutex_);
    drawn_ = std::move(drawn);
  }
  std::function<void()> handler;
  {
    const LockGuard lock(handlerMutex_);
    handler = pictureHandler_;
  }
  if (handler) handler();
}

void MpvEngine::chooseLane(const MpvRequests::Wishes& wishes) {
  if (current_ && current_->load().id != wishes.load) leave(wishes);
  if (!current_ && wishes.asset) {
    openLoad(wishes);
    if (lanes_.areNone()) return failWithoutLane(wishes.load);
    if (!current_) return closeLeaving();  // the bell rings when a lane has become idle
  }
  const bool isNeeded = current_ && !current_->isReady() && !current_->load().failure;
  if (!isNeeded || Clock::now() >= leavingUntil_) closeLeaving();
}

void MpvEngine::openLoad(const MpvRequests::Wishes& wishes) {
  told_ = {};
  if (auto taken = ahead_.take(wishes.asset)) {
    current_ = taken->lane;
    current_->adopt(wishes.load);
    if (current_->isReady()) showPicture(std::move(taken->picture));
    return;
  }
  current_ = lanes_.idleForLoad();
  if (!current_) return;
  current_->setMuted(wishes.isMuted);
  current_->setWaitsToMinimizeStalling(wishes.waits);
  current_->open(wishes.load, wishes.asset);
}

void MpvEngine::openAhead(const MpvRequests::Wishes& wishes) {
  wakesAt_.reset();
  ahead_.letGo(wishes);
  drawAhead();
  if (!playsWithoutHurry(wishes)) return;
  const bool hasMore = ahead_.hasMore(wishes);
  const auto tidiesAt = ahead_.tidiesAt();
  if (!hasMore && !tidiesAt) return;
  auto calmFrom = std::max(wishes.asked, readySince_) + calmTime;
  if (!hasMore) calmFrom = std::max(calmFrom, *tidiesAt);
  if (Clock::now() < calmFrom) {
    wakesAt_ = calmFrom;
  } else if (hasMore) {
    ahead_.open(wishes);
  } else {
    ahead_.tidy();
  }
}

void MpvEngine::drawAhead() {
  int width = 0;
  int height = 0;
  {
    const LockGuard lock(pictureMutex_);
    width = hostWidth_;
    height = hostHeight_;
  }
  ahead_.draw(width, height);
}

bool MpvEngine::playsWithoutHurry(const MpvRequests::Wishes& wishes) const {
  if (!current_ || !told_.ready || leaving_) return false;
  const auto& load = current_->load();
  if (load.failure || load.isStarved || current_->isSeeking()) return false;
  return !wishes.isPlaying || load.hasMoved || load.isAtEnd;
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

void MpvEngine::failWithoutLane(LoadId load) {
  requests_.endAnySeek();
  if (std::exchange(failedLoad_, load) != load)
    tellFailure(load, Error(ErrorCode::noMemory, lanes_.whyNone()));
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
    readySince_ = Clock::now();
    report(&Listener::engineDidBecomeReady, load.id);
    lanes_.makeFewest();
  }
  if (!load.isStarved) {
    told_.stall = false;
  } else if (wishes.isPlaying && load.hasMoved && !std::exchange(told_.stall, true)) {
    report(&Listener::engineDidStall, load.id);
  }
}

void MpvEngine::tellEnd(const MpvRequests::Wishes& wishes) {
  const auto& load = current_->load();
  if (!load.isAtEnd || !load.hasPicture || load.failure || current_->isSeeking()) return;
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

}  // namespace

std::unique_ptr<MediaEngine> makeMpvEngine(std::weak_ptr<MediaEngine::Listener> listener,
                                           MpvEngineOptions options) {
  return std::make_unique<MpvEngine>(std::move(listener), std::move(options));
}

}  // namespace tavrin
