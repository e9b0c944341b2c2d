#include "Tavrin/Mpv/MpvEngine.hpp"

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Tavrin/Foundation/Internal/ProcessEnd.hpp"
#include "Tavrin/Mpv/Internal/Bell.hpp"
#include "Tavrin/Mpv/Internal/MpvAhead.hpp"
#include "Tavrin/Mpv/Internal/MpvLanes.hpp"
#include "Tavrin/Mpv/Internal/MpvReports.hpp"
#include "Tavrin/Mpv/Internal/MpvRequests.hpp"
#include "Tavrin/Mpv/Internal/MpvStage.hpp"

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
      : options_(std::move(options)),
        reports_(std::move(listener)),
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
  void run();
  void turn(const MpvRequests::Wishes& wishes);
  void updateLanes();
  void chooseLane(const MpvRequests::Wishes& wishes);
  void leave(const MpvRequests::Wishes& wishes);
  void closeLeaving();
  void openLoad(const MpvRequests::Wishes& wishes);
  void openAhead(const MpvRequests::Wishes& wishes);
  bool playsWithoutHurry(const MpvRequests::Wishes& wishes) const;
  void waitForBell();
  void failWithoutLane();
  void applySettings(const MpvRequests::Wishes& wishes);
  void applySeek();
  void tell(const MpvRequests::Wishes& wishes);
  void tellEnd(const MpvRequests::Wishes& wishes);

  // Constant after construction.
  const MpvEngineOptions options_;

  const std::shared_ptr<Bell> bell_ = std::make_shared<Bell>();
  MpvRequests requests_;
  MpvStage stage_;

  // The engine's thread alone. One lane plays, one leaves or waits, warm and idle, for a load that
  // nobody expected; others are open ahead.
  MpvReports reports_;
  MpvLanes lanes_{options_, *bell_};
  MpvAhead ahead_;
  MpvLane* current_ = nullptr;
  MpvLane* leaving_ = nullptr;  // has been replaced and is about to be closed
  Clock::time_point leavingUntil_;
  Clock::time_point readySince_;
  std::optional<Clock::time_point> wakesAt_;  // for what has to wait for a calm moment
  std::uint64_t issuedSeek_ = 0;

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
  stage_.setNewest(load);
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
  stage_.setPictureHandler(std::move(handler));
}

std::optional<MediaEngine::LoadId> MpvEngine::draw(const PixelBuffer& target) {
  return stage_.draw(target);
}

void MpvEngine::run() {
  lanes_.idleForLoad();  // warm before the first load
  for (;;) {
    const auto wishes = requests_.wishes();
    if (wishes.isReleased) break;
    turn(wishes);
    waitForBell();
  }
  stage_.show(nullptr);
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
    if (isCurrent && hasNewPicture) stage_.showPicture(current_);
  });
}

void MpvEngine::chooseLane(const MpvRequests::Wishes& wishes) {
  if (current_ && current_->load().id != wishes.load) leave(wishes);
  if (!current_ && wishes.asset) {
    openLoad(wishes);
    if (lanes_.areNone()) return failWithoutLane();
    if (!current_) return closeLeaving();  // the bell rings when a lane has become idle
  }
  const bool isNeeded = current_ && !current_->isReady() && !current_->load().failure;
  if (!isNeeded || Clock::now() >= leavingUntil_) closeLeaving();
}

void MpvEngine::openLoad(const MpvRequests::Wishes& wishes) {
  reports_.begin(wishes.load);
  if (auto taken = ahead_.take(wishes.asset)) {
    current_ = taken->lane;
    current_->adopt(wishes.load);
    if (current_->isReady()) stage_.showPicture(current_, std::move(taken->picture));
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
  const auto size = stage_.hostSize();
  ahead_.draw(size.width, size.height);
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

bool MpvEngine::playsWithoutHurry(const MpvRequests::Wishes& wishes) const {
  if (!current_ || !reports_.haveToldReady() || leaving_) return false;
  const auto& load = current_->load();
  if (load.failure || load.isStarved || current_->isSeeking()) return false;
  return !wishes.isPlaying || load.hasMoved || load.isAtEnd;
}

// Closing takes longer than opening, and would slow it down: it waits for the next load's picture,
// or a moment. Meanwhile the load is held, and hidden.
void MpvEngine::leave(const MpvRequests::Wishes& wishes) {
  stage_.show(nullptr);
  closeLeaving();
  std::swap(leaving_, current_);
  if (!wishes.asset || !leaving_->isReady()) return closeLeaving();
  leaving_->hold();
  leavingUntil_ = Clock::now() + timeToLeave;
}

void MpvEngine::closeLeaving() {
  if (auto* lane = std::exchange(leaving_, nullptr)) lane->close();
}

void MpvEngine::failWithoutLane() {
  requests_.endAnySeek();
  reports_.tellFailure(Error(ErrorCode::noMemory, lanes_.whyNone()));
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
  } else if (current_->canSeek()) {
    issuedSeek_ = seek->serial;
    reports_.forgetEnd();
    current_->seek(seek->serial, seek->seconds);
  }
}

void MpvEngine::tell(const MpvRequests::Wishes& wishes) {
  const auto& load = current_->load();
  tellEnd(wishes);
  if (load.failure) {
    if (!reports_.haveToldFailure()) stage_.show(nullptr);
    reports_.tellFailure(*load.failure);
    return;
  }
  if (load.hasPicture && !reports_.haveToldReady()) {
    stage_.show(current_);
    readySince_ = Clock::now();
    reports_.tellReady();
    lanes_.makeFewest();
  }
  if (!load.isStarved) {
    reports_.forgetStall();
  } else if (wishes.isPlaying && load.hasMoved) {
    reports_.tellStall();
  }
}

void MpvEngine::tellEnd(const MpvRequests::Wishes& wishes) {
  const auto& load = current_->load();
  if (!load.isAtEnd || !load.hasPicture || load.failure || current_->isSeeking()) return;
  if (current_->failIfCutShort()) return;
  if (wishes.isPlaying) reports_.tellEnd();
}

}  // namespace

std::unique_ptr<MediaEngine> makeMpvEngine(std::weak_ptr<MediaEngine::Listener> listener,
                                           MpvEngineOptions options) {
  return std::make_unique<MpvEngine>(std::move(listener), std::move(options));
}

}  // namespace tavrin
