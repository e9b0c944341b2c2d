#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Tavrin/Cache/VideoCacheDependency.hpp"
#include "Tavrin/Feature/VideoFeature.hpp"

namespace tavrin::testing {

/// A cache client that writes down its calls and hands out plain items. One thread.
class RecordingCache {
 public:
  /// Has each call hop through the executor once, as a real cache would.
  explicit RecordingCache(Executor& executor) : executor_(executor) {}

  /// The record must outlive the client and its calls.
  VideoCacheDependency client();
  /// A video feature that reaches the client.
  VideoFeature feature();

  /// What was asked, one line each: "create 1", "destroy 1", "save 1 a.mp4 video/mp4",
  /// "return 1 a.mp4 video/mp4", "prepare 1 a.mp4 b.mp4", "forward 1 - b.mp4", "back - a.mp4 -".
  /// Managers are numbered in the order they were made; "-" is an absent one, or an absent video.
  std::vector<std::string> calls;
  /// Items to hand out, by last path component; a null one answers with no item. Without an entry a
  /// new plain item is handed out, and kept here.
  std::map<std::string, std::shared_ptr<AVPlayerItem>> items;

  std::string nameOf(const std::optional<UUID>& id) const;

 private:
  using ManagerId = VideoCacheDependency::ManagerId;
  using Video = VideoCacheDependency::Video;

  Task<void> note(std::string call);
  static Task<UUID> create(RecordingCache* self);
  static Task<std::shared_ptr<AVPlayerItem>> give(RecordingCache* self, ManagerId id, URL video,
                                                  std::string mimeType);
  std::function<Task<void>(ManagerId, Video, Video)> noteVideos(const char* name);

  Executor& executor_;
  std::map<UUID, int> managers_;
};

}  // namespace tavrin::testing
