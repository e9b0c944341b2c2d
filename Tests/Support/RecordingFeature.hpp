#pragma once

#include <string>
#include <vector>

#include "Tavrin/Feature/VideoFeature.hpp"

namespace tavrin::testing {

/// The name of an action's case.
std::string nameOf(const VideoFeatureAction& action);

/// The video feature as a reducer that writes down each action before it is reduced.
using RecordingFeature = Reduce<VideoFeatureState, VideoFeatureAction>;

/// A feature that reaches the given cache. `actions` must outlive it; null: nothing is written
/// down.
RecordingFeature recordingFeature(const VideoCacheDependency& cache,
                                  std::vector<std::string>* actions);

}  // namespace tavrin::testing
