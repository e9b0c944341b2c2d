#include "App/ActionTrace.hpp"

#include <string>
#include <variant>

namespace tavrin::app {

namespace {

using BusinessAction = VideoFeatureAction::BusinessAction;

TraceValue value(bool flag) { return flag; }
TraceValue value(std::int64_t number) { return number; }
TraceValue value(const UUID& id) { return id.text(); }
TraceValue value(const Media& media) {
  return media.url ? TraceValue(media.url->absoluteString()) : TraceValue(media.id.text());
}
TraceValue value(AVPlayerItemStatus status) {
  switch (status) {
    case AVPlayerItemStatus::unknown:
      return "unknown";
    case AVPlayerItemStatus::readyToPlay:
      return "readyToPlay";
    case AVPlayerItemStatus::failed:
      return "failed";
  }
  return nullptr;
}
TraceValue value(const std::shared_ptr<AVPlayer>& player) {
  return player ? TraceValue("a player") : TraceValue();
}
TraceValue value(const std::shared_ptr<AVPlayerItem>& item) {
  return item ? TraceValue(item->asset()->url().absoluteString()) : TraceValue();
}
template <class Value>
TraceValue value(const std::optional<Value>& optional) {
  return optional ? value(*optional) : TraceValue();
}

// One function per case: its name and its payload.
struct Describe {
  using Result = std::pair<std::string, TraceValue>;

  static Result plain(const char* name) { return {name, TraceValue::object()}; }

  Result operator()(const BusinessAction::SetMedia& action) const {
    return {"setMedia",
            {{"mediaId", value(action.values.mediaId)},
             {"isSkippedBack", action.values.isSkippedBack},
             {"isExerciseLooping", action.values.isExerciseLooping}}};
  }
  Result operator()(const BusinessAction::SetPlayer& action) const {
    return {"setPlayer",
            {{"url", action.values.url.absoluteString()},
             {"mimeType", action.values.mimeType},
             {"loopVideo", value(action.values.loopVideo)}}};
  }
  Result operator()(const BusinessAction::SetCurrentMedia& action) const {
    return {"setCurrentMedia", {{"id", value(action.values.id)}, {"media", value(action.values)}}};
  }
  Result operator()(const BusinessAction::SetPlayerStatus& action) const {
    return {"setPlayerStatus", {{"item", value(action.values)}}};
  }
  Result operator()(const BusinessAction::SaveManagerId& action) const {
    return {"saveManagerId", {{"id", value(action.values)}}};
  }
  Result operator()(const BusinessAction::SetPlayerIfNil& action) const {
    return {"setPlayerIfNil",
            {{"item", value(action.values.first)}, {"loop", value(action.values.second)}}};
  }
  Result operator()(const BusinessAction::PrepareMedia&) const { return plain("prepareMedia"); }
  Result operator()(const BusinessAction::Pause&) const { return plain("pause"); }
  Result operator()(const BusinessAction::MuteVideo&) const { return plain("muteVideo"); }
  Result operator()(const BusinessAction::PlayVideo&) const { return plain("playVideo"); }
  Result operator()(const BusinessAction::PlayerDeinit&) const { return plain("playerDeinit"); }
  Result operator()(const BusinessAction::NextMedia&) const { return plain("nextMedia"); }
  Result operator()(const BusinessAction::PrevMedia&) const { return plain("prevMedia"); }
  Result operator()(const BusinessAction::SetPlayerIsSet&) const { return plain("setPlayerIsSet"); }
};

}  // namespace

TraceValue changedFields(const VideoFeatureState& before, const VideoFeatureState& after) {
  auto changed = TraceValue::object();
  const auto compare = [&](const char* name, const auto& was, const auto& is) {
    if (!(was == is)) changed[name] = value(is());
  };
  compare("player", before.player, after.player);
  compare("currentMedia", before.currentMedia, after.currentMedia);
  compare("playerStatus", before.playerStatus, after.playerStatus);
  compare("playerIsSet", before.playerIsSet, after.playerIsSet);
  compare("isMuted", before.isMuted, after.isMuted);
  compare("videoIndex", before.videoIndex, after.videoIndex);
  compare("managerId", before.managerId, after.managerId);
  return changed;
}

std::pair<std::string, TraceValue> describe(const VideoFeatureAction& action) {
  const auto* business = std::get_if<VideoFeatureAction::Business>(&action.value);
  return business ? std::visit(Describe{}, business->values.value) : Describe::plain("none");
}

Effect<VideoFeatureAction> TracedFeature::reduce(State& state, const Action& action) const {
  if (!trace_->isKept()) return feature_.reduce(state, action);
  const State before = state;
  auto effect = feature_.reduce(state, action);
  const auto [name, args] = describe(action);
  trace_->write(Trace::Kind::action, name, args, changedFields(before, state));
  return effect;
}

}  // namespace tavrin::app
