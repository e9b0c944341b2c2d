#pragma once

#include <memory>
#include <utility>

#include "App/Trace.hpp"
#include "Tavrin/Feature/VideoFeature.hpp"

namespace tavrin::app {

/// The fields of `after` that differ from `before`, with their new values.
TraceValue changedFields(const VideoFeatureState& before, const VideoFeatureState& after);

/// The name of the action's case, and its payload.
std::pair<std::string, TraceValue> describe(const VideoFeatureAction& action);

/// The video feature, with every action traced.
class TracedFeature {
 public:
  using State = VideoFeature::State;
  using Action = VideoFeature::Action;

  /// Reaches the cache through the dependency registry that is in force now.
  explicit TracedFeature(std::shared_ptr<Trace> trace) : trace_(std::move(trace)) {}

  /// Main queue only.
  Effect<Action> reduce(State& state, const Action& action) const;

 private:
  VideoFeature feature_;
  std::shared_ptr<Trace> trace_;
};

}  // namespace tavrin::app
