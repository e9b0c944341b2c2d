#include "Load/FaultCampaignViewer.hpp"

#include <cstdio>

#include "Tavrin/Foundation/NotificationCenter.hpp"

namespace tavrin::load {

namespace {

using namespace std::chrono_literals;
using Business = VideoFeature::BusinessAction;

constexpr int width = 64;
constexpr int height = 36;

// A person who has seen nothing move for so long takes it for a stall.
constexpr auto patience = 2s;

std::vector<std::optional<Media>> optional(const std::vector<Media>& media) {
  return {media.begin(), media.end()};
}

std::string text(double seconds) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.1f s", seconds);
  return buffer;
}

}  // namespace

// What an item posts. Main queue only.
struct Viewer::Events {
  bool hasEnded = false;
  int stalls = 0;
};

Viewer::Viewer(const std::vector<Media>& workout)
    : store_(VideoFeatureState(optional(workout)), VideoFeature()),
      pixels_(std::size_t{width} * height * 4) {
  send(Business::prepareMedia());
  loop_.pumpUntil([&] { return store_.state().managerId().has_value(); }, 10s);
}

Viewer::~Viewer() { send(Business::playerDeinit()); }

void Viewer::send(Business action) {
  loop_.call([&] { store_.send(VideoFeatureAction::business(std::move(action))); });
}

std::string Viewer::show(std::int64_t index) {
  const auto problem = stepTo(index);
  return problem.empty() ? watchOn() : problem;
}

std::string Viewer::glance(std::int64_t index) {
  const auto problem = stepTo(index);
  if (!problem.empty()) return problem;
  const auto isFailed = [&] { return item_->status() == AVPlayerItemStatus::failed; };
  const auto isMoving = [&] { return player()->currentTime().seconds > 0.1; };
  loop_.pumpUntil([&] { return isFailed() || (isMoving() && hasPicture()); }, patience);
  if (isFailed()) return "failed: " + item_->error().value_or(Error("no reason")).description;
  return isMoving() ? plays : "no picture";
}

double Viewer::release() {
  const std::weak_ptr<AVPlayer> released = player();
  item_.reset();
  const auto begun = Clock::now();
  send(Business::playerDeinit());
  loop_.pumpUntil([&] { return released.expired(); }, patience);
  return millisecondsSince(begun);
}

std::string Viewer::stepTo(std::int64_t index) {
  const auto old = item_;
  send(Business::setMedia(SetMediaValues(store_.state().media()[index].id, false, false)));
  const bool isSet = loop_.pumpUntil(
      [&] { return store_.state().playerIsSet() && player() && player()->currentItem() != old; },
      10s);
  isWaiting_ = false;
  if (!isSet) return "no item came";
  item_ = player()->currentItem();
  if (!item_) return "the player got no item";
  events_ = std::make_shared<Events>();
  auto& center = NotificationCenter::defaultCenter();
  center.addObserver<Events>(
      events_, [](Events& self) { self.hasEnded = true; }, AVPlayerItemDidPlayToEndTime, item_);
  center.addObserver<Events>(
      events_, [](Events& self) { ++self.stalls; }, AVPlayerItemPlaybackStalled, item_);
  return "";
}

std::string Viewer::watchOn() {
  const auto from = player()->currentTime().seconds;
  auto at = from;
  auto lastMove = Clock::now();
  const auto hasOutcome = [&] {
    const auto now = player()->currentTime().seconds;
    if (now > at) {
      at = now;
      lastMove = Clock::now();
    }
    return events_->hasEnded || item_->status() == AVPlayerItemStatus::failed ||
           Clock::now() - lastMove > patience;
  };
  loop_.pumpUntil(hasOutcome, 20s);
  return outcome(from);
}

std::string Viewer::outcome(double from) {
  const auto played = player()->currentTime().seconds - from;
  const bool isFailed = item_->status() == AVPlayerItemStatus::failed;
  const auto stalls = events_->stalls == 0 ? "" : " (told of a stall)";
  isWaiting_ = !isFailed && !events_->hasEnded;
  if (isFailed) {
    const auto error = item_->error();
    return (played > 0 ? "played " + text(played) + ", " : "") +
           "failed: " + (error ? error->description : "without a reason");
  }
  if (!hasPicture()) return "no picture";
  if (events_->hasEnded) return wholeVideo;
  return "played " + text(played) + ", stood still" + stalls;
}

bool Viewer::hasPicture() {
  std::optional<MediaEngine::LoadId> load;
  loop_.call([&] { load = player()->engine().draw({pixels_.data(), width, height, width * 4}); });
  return load && player()->item(*load) == item_;
}

}  // namespace tavrin::load
