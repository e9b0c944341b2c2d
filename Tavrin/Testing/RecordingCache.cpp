#include "Tavrin/Testing/RecordingCache.hpp"

#include <utility>

namespace tavrin::testing {

namespace {

std::string fileOf(const std::optional<URL>& url) { return url ? url->lastPathComponent() : "-"; }

std::string fileOf(const std::optional<Media>& video) { return video ? fileOf(video->url) : "-"; }

}  // namespace

VideoFeature RecordingCache::feature() {
  return withDependencies([this](DependencyValues& values) { setVideoManager(values, client()); },
                          [] { return VideoFeature(); });
}

std::string RecordingCache::nameOf(const std::optional<UUID>& id) const {
  if (!id) return "-";
  const auto found = managers_.find(*id);
  return found == managers_.end() ? "?" : std::to_string(found->second);
}

// Noted when the call begins; the hop comes after.
Task<void> RecordingCache::note(std::string call) {
  calls.push_back(std::move(call));
  ContinueOn hop(executor_);
  co_await hop;
}

Task<UUID> RecordingCache::create(RecordingCache* self) {
  const auto id = UUID::random();
  const auto number = static_cast<int>(self->managers_.size()) + 1;
  self->managers_[id] = number;
  co_await self->note("create " + std::to_string(number));
  co_return id;
}

Task<std::shared_ptr<AVPlayerItem>> RecordingCache::give(RecordingCache* self, ManagerId id,
                                                         URL video, std::string mimeType) {
  const auto file = video.lastPathComponent();
  co_await self->note("return " + self->nameOf(id) + " " + file + " " + mimeType);
  const auto [entry, isNew] = self->items.try_emplace(file);
  if (isNew) entry->second = AVPlayerItem::make(video);
  co_return entry->second;
}

std::function<Task<void>(RecordingCache::ManagerId, RecordingCache::Video, RecordingCache::Video)>
RecordingCache::noteVideos(const char* name) {
  return [this, name](const ManagerId& id, const Video& first, const Video& second) {
    return note(std::string(name) + " " + nameOf(id) + " " + fileOf(first) + " " + fileOf(second));
  };
}

VideoCacheDependency RecordingCache::client() {
  return {[this] { return create(this); },
          [this](const ManagerId& id) { return note("destroy " + nameOf(id)); },
          [this](const ManagerId& id, const std::optional<URL>& video, const std::string& type) {
            return note("save " + nameOf(id) + " " + fileOf(video) + " " + type);
          },
          [this](const ManagerId& id, URL video, std::string type) {
            return give(this, id, std::move(video), std::move(type));
          },
          noteVideos("prepare"),
          noteVideos("forward"),
          noteVideos("back")};
}

}  // namespace tavrin::testing
