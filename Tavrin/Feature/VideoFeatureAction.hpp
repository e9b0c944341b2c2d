#pragma once

#include <memory>
#include <optional>
#include <utility>
#include <variant>

#include "Tavrin/Architecture/CasePath.hpp"
#include "Tavrin/Feature/VideoFeatureActionValues.hpp"
#include "Tavrin/Media/AVPlayerItem.hpp"
#include "Tavrin/Models/Media.hpp"

namespace tavrin {

/// Everything that can happen to the video feature.
struct VideoFeatureAction {
  /// Actions from the feature's own view. There are none.
  class ViewAction {
   public:
    ViewAction() = delete;
    struct AllCasePaths {};
    bool operator==(const ViewAction&) const = default;
  };

  /// Actions for the parent feature. There are none.
  class DelegateAction {
   public:
    DelegateAction() = delete;
    bool operator==(const DelegateAction&) const = default;
  };

  /// What the host asks for, and what the feature's effects report. Player items compare by
  /// identity.
  struct BusinessAction {
    using Item = std::shared_ptr<AVPlayerItem>;  // null: absent

    using SetMedia = PayloadCase<struct SetMediaCase, SetMediaValues>;
    using SetPlayer = PayloadCase<struct SetPlayerCase, SetPlayerValues>;
    using SetCurrentMedia = PayloadCase<struct SetCurrentMediaCase, Media>;
    using SetPlayerStatus = PayloadCase<struct SetPlayerStatusCase, Item>;
    using SaveManagerId = PayloadCase<struct SaveManagerIdCase, std::optional<UUID>>;
    using SetPlayerIfNil =
        PayloadCase<struct SetPlayerIfNilCase, std::pair<Item, std::optional<bool>>>;
    using PrepareMedia = EmptyCase<struct PrepareMediaCase>;
    using Pause = EmptyCase<struct PauseCase>;
    using MuteVideo = EmptyCase<struct MuteVideoCase>;
    using PlayVideo = EmptyCase<struct PlayVideoCase>;
    using PlayerDeinit = EmptyCase<struct PlayerDeinitCase>;
    using NextMedia = EmptyCase<struct NextMediaCase>;
    using PrevMedia = EmptyCase<struct PrevMediaCase>;
    using SetPlayerIsSet = EmptyCase<struct SetPlayerIsSetCase>;
    using Cases = std::variant<SetMedia, SetPlayer, SetCurrentMedia, SetPlayerStatus, SaveManagerId,
                               SetPlayerIfNil, PrepareMedia, Pause, MuteVideo, PlayVideo,
                               PlayerDeinit, NextMedia, PrevMedia, SetPlayerIsSet>;

    /// Makes an item current, stepping the position forward or back. Sent by the host.
    static BusinessAction setMedia(SetMediaValues values) { return {SetMedia{values}}; }
    /// Obtains and installs the item for a video.
    static BusinessAction setPlayer(SetPlayerValues values) {
      return {SetPlayer{std::move(values)}};
    }
    /// Records the item being shown.
    static BusinessAction setCurrentMedia(Media media) {
      return {SetCurrentMedia{std::move(media)}};
    }
    /// Records the status that the player item has now; no item, no status.
    static BusinessAction setPlayerStatus(Item item) { return {SetPlayerStatus{std::move(item)}}; }
    /// Records the feature's cache manager.
    static BusinessAction saveManagerId(std::optional<UUID> id) { return {SaveManagerId{id}}; }
    /// Creates the player around an item.
    static BusinessAction setPlayerIfNil(Item item, std::optional<bool> loop) {
      return {SetPlayerIfNil{{std::move(item), loop}}};
    }
    /// Creates the cache manager and fills the cache. Sent by the host, once.
    static BusinessAction prepareMedia() { return {PrepareMedia{}}; }
    /// Pauses. Sent by the host.
    static BusinessAction pause() { return {Pause{}}; }
    /// Toggles the sound, if there is a player. Sent by the host.
    static BusinessAction muteVideo() { return {MuteVideo{}}; }
    /// Plays, if the current item is a video. Sent by the host, and at the end of each step.
    static BusinessAction playVideo() { return {PlayVideo{}}; }
    /// Releases the player and the cache manager. Sent by the host, at the end.
    static BusinessAction playerDeinit() { return {PlayerDeinit{}}; }
    /// Steps to the next item. Sent by the host.
    static BusinessAction nextMedia() { return {NextMedia{}}; }
    /// Steps to the previous item. Sent by the host.
    static BusinessAction prevMedia() { return {PrevMedia{}}; }
    /// Records that the player has its item.
    static BusinessAction setPlayerIsSet() { return {SetPlayerIsSet{}}; }

    struct AllCasePaths {
      CasePath<BusinessAction, SetMedia> setMedia;
      CasePath<BusinessAction, SetPlayer> setPlayer;
      CasePath<BusinessAction, SetCurrentMedia> setCurrentMedia;
      CasePath<BusinessAction, SetPlayerStatus> setPlayerStatus;
      CasePath<BusinessAction, SaveManagerId> saveManagerId;
      CasePath<BusinessAction, SetPlayerIfNil> setPlayerIfNil;
      CasePath<BusinessAction, PrepareMedia> prepareMedia;
      CasePath<BusinessAction, Pause> pause;
      CasePath<BusinessAction, MuteVideo> muteVideo;
      CasePath<BusinessAction, PlayVideo> playVideo;
      CasePath<BusinessAction, PlayerDeinit> playerDeinit;
      CasePath<BusinessAction, NextMedia> nextMedia;
      CasePath<BusinessAction, PrevMedia> prevMedia;
      CasePath<BusinessAction, SetPlayerIsSet> setPlayerIsSet;
    };

    Cases value;

    bool operator==(const BusinessAction&) const = default;
  };

  using View = PayloadCase<struct ViewCase, ViewAction>;
  using Delegate = PayloadCase<struct DelegateCase, DelegateAction>;
  using Business = PayloadCase<struct BusinessCase, BusinessAction>;
  using Cases = std::variant<View, Delegate, Business>;

  static VideoFeatureAction view(ViewAction action) { return {View{action}}; }
  static VideoFeatureAction delegate(DelegateAction action) { return {Delegate{action}}; }
  static VideoFeatureAction business(BusinessAction action) {
    return {Business{std::move(action)}};
  }

  struct AllCasePaths {
    CasePath<VideoFeatureAction, View> view;
    CasePath<VideoFeatureAction, Delegate> delegate;
    CasePath<VideoFeatureAction, Business> business;
  };

  Cases value;

  bool operator==(const VideoFeatureAction&) const = default;
};

}  // namespace tavrin
