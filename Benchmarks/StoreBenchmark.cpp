// What an action costs a host, and whether it depends on the length of the workout.
#include <algorithm>
#include <chrono>
#include <vector>

#include "Benchmarks/Figures.hpp"
#include "Benchmarks/Timing.hpp"
#include "Tavrin/Architecture/Store.hpp"
#include "Tavrin/Feature/VideoFeature.hpp"
#include "Tavrin/Feature/VideoFeatureEffects.hpp"
#include "Tavrin/Testing/ManualExecutor.hpp"
#include "Tavrin/Testing/SampleMedia.hpp"

namespace {

using namespace tavrin;
using namespace tavrin::benchmarks;
using Business = VideoFeature::BusinessAction;

std::vector<std::optional<Media>> items(std::int64_t count) {
  std::vector<std::optional<Media>> media;
  media.reserve(static_cast<std::size_t>(count));
  for (std::int64_t i = 0; i < count; ++i) {
    media.emplace_back(tavrin::testing::video(std::to_string(i)));
  }
  return media;
}

// Nanoseconds for one action that leads to no effect, through the store.
double actionTime(std::int64_t count) {
  tavrin::testing::ManualExecutor executor;
  Store<VideoFeature> store(VideoFeatureState(items(count)), VideoFeature(),
                            {DispatchQueue::main(), executor});
  const auto action = VideoFeatureAction::business(Business::setPlayerIsSet());
  return medianNanoseconds(200'000, [&] { store.send(action); });
}

// Nanoseconds for one step through the reducer, its effect with the captured list included.
double stepTime(std::int64_t count) {
  VideoFeatureState state(items(count));
  const VideoFeature feature;
  const auto target = state.media()[std::int64_t{0}];
  const auto action =
      VideoFeatureAction::business(Business::setMedia(SetMediaValues(target.id, false, true)));
  return medianNanoseconds(100'000, [&] {
    const auto effect = feature.reduce(state, action);
    if (effect.isNone()) std::abort();
  });
}

double lookupTime(std::int64_t count) {
  const VideoFeatureState state(items(count));
  const auto& media = state.media();
  std::vector<UUID> ids;
  for (std::int64_t i = 0; i < count; i += 97) ids.push_back(media[i].id);
  std::size_t next = 0;
  return medianNanoseconds(200'000, [&] {
    const auto found = media.index(ids[next++ % ids.size()]);
    if (!found) std::abort();
  });
}

double stateTime(std::int64_t count) {
  const auto media = items(count);
  return medianNanoseconds(1,
                           [&] {
                             const VideoFeatureState state(media);
                             if (state.media().count() != count) std::abort();
                           }) /
         1e6;
}

}  // namespace

int main(int argc, char** argv) {
  constexpr std::int64_t few = 10;
  constexpr std::int64_t many = 100'000;
  Figures figures(argc, argv);
  if (figures.isWanted("store.action_ns")) {
    const auto small = actionTime(few);
    const auto large = actionTime(many);
    figures.report("store.action_ns", std::max(small, large), "ns", atMost(1000));
    figures.report("store.action_growth", large / small, "x at 100,000 items", atMost(1.3));
  }
  if (figures.isWanted("store.step_growth")) {
    figures.report("store.step_growth", stepTime(many) / stepTime(few), "x at 100,000 items",
                   atMost(1.3));
  }
  if (figures.isWanted("list.lookup_ns")) {
    figures.report("list.lookup_ns", lookupTime(many), "ns", atMost(100));
  }
  if (figures.isWanted("list.state_ms")) {
    figures.report("list.state_ms", stateTime(many), "ms", atMost(50));
  }
  return figures.exitStatus();
}
