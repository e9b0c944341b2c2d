#include "Tavrin/Architecture/Observation.hpp"

#include <algorithm>
#include <atomic>
#include <vector>

namespace tavrin {

namespace {

// Keeps the first exception.
void call(const std::function<void()>& handler, std::exception_ptr& thrown) {
  try {
    handler();
  } catch (...) {
    if (!thrown) thrown = std::current_exception();
  }
}

}  // namespace

struct ObservationRegistrar::Observers {
  using Handler = std::function<void()>;
  std::vector<std::weak_ptr<Handler>> lasting;        // owned by their observations
  std::vector<std::shared_ptr<Handler>> firstChange;  // shared by the fields of one tracked read
};

Observation ObservationRegistrar::observe(std::function<void()> handler) const {
  if (!observers_) observers_ = std::make_shared<Observers>();
  auto added = std::make_shared<Observers::Handler>(std::move(handler));
  std::erase_if(observers_->lasting, [](const auto& each) { return each.expired(); });
  observers_->lasting.push_back(added);
  return Observation(std::move(added));
}

void ObservationRegistrar::tell() const {
  const auto lasting = observers_->lasting;
  const auto firstChange = std::exchange(observers_->firstChange, {});
  std::exception_ptr thrown;
  for (const auto& each : lasting) {
    if (const auto handler = each.lock()) call(*handler, thrown);
  }
  for (const auto& each : firstChange) {
    if (const auto handler = std::exchange(*each, nullptr)) call(handler, thrown);
  }
  if (thrown) ObserverExceptions::keepOrRethrow(thrown);
}

void ObservationRegistrar::track() const {
  if (!observers_) observers_ = std::make_shared<Observers>();
  auto& waiting = observers_->firstChange;
  std::erase_if(waiting, [](const auto& each) { return *each == nullptr; });
  const auto& added = ObservationTracker::current()->onChange_;
  if (std::ranges::find(waiting, added) == waiting.end()) waiting.push_back(added);
}

thread_local ObserverExceptions* ObserverExceptions::current_ = nullptr;

void ObserverExceptions::keepOrRethrow(const std::exception_ptr& thrown) {
  if (current_ == nullptr) std::rethrow_exception(thrown);
  if (!current_->first_) current_->first_ = thrown;
}

thread_local ObservationTracker* ObservationTracker::current_ = nullptr;

ObservationTracker::ObservationTracker(std::function<void()> onChange)
    : outer_(std::exchange(current_, this)),
      onChange_(std::make_shared<std::function<void()>>(std::move(onChange))) {}

ObservableStateId::ObservableStateId() {
  static std::atomic<std::uint64_t> last{0};
  number_ = ++last;
}

}  // namespace tavrin
