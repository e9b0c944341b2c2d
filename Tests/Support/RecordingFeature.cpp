#include "Tests/Support/RecordingFeature.hpp"

#include <array>

namespace tavrin::testing {

std::string nameOf(const VideoFeatureAction& action) {
  constexpr std::array names = {
      "setMedia",       "setPlayer",    "setCurrentMedia", "setPlayerStatus", "saveManagerId",
      "setPlayerIfNil", "prepareMedia", "pause",           "muteVideo",       "playVideo",
      "playerDeinit",   "nextMedia",    "prevMedia",       "setPlayerIsSet"};
  const auto& business = std::get<VideoFeatureAction::Business>(action.value).values;
  return names.at(business.value.index());
}

RecordingFeature recordingFeature(const VideoCacheDependency& cache,
                                  std::vector<std::string>* actions) {
  const auto feature =
      withDependencies([&](DependencyValues& values) { setVideoManager(values, cache); },
                       [] { return VideoFeature(); });
  return RecordingFeature([feature, actions](VideoFeatureState& state, const auto& action) {
    if (actions) actions->push_back(nameOf(action));
    return feature.reduce(state, action);
  });
}

}  // namespace tavrin::testing
