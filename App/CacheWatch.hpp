#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "App/Trace.hpp"
#include "Tavrin/Cache/VideoCacheDependency.hpp"
#include "Tavrin/Foundation/Mutex.hpp"

namespace tavrin::app {

/// Where a video comes from when it is played now.
enum class CacheState { streaming, onDisk, inMemory };

/// Stands between the feature and its cache, traces every operation, and so knows where each video
/// is. Any thread.
class CacheWatch : public std::enable_shared_from_this<CacheWatch> {
 public:
  using ManagerId = VideoCacheDependency::ManagerId;

  /// `cache` does the work. It is one of a host with one manager at a time. `saved` is called on
  /// the main queue each time the cache has been asked to save a video.
  static std::shared_ptr<CacheWatch> make(VideoCacheDependency cache, std::shared_ptr<Trace> trace,
                                          std::function<void()> saved);

  /// The cache to give to the feature.
  VideoCacheDependency client();

  CacheState state(const URL& video) const;
  /// The downloads that have reached the disk since the last call, traced as such: their files'
  /// names. Reads the cache directory.
  std::vector<std::string> takeStored();

 private:
  using Clock = std::chrono::steady_clock;
  using Video = VideoCacheDependency::Video;
  using Item = std::shared_ptr<AVPlayerItem>;
  using Preparation = std::function<Task<void>(ManagerId, Video, Video)>;

  CacheWatch(VideoCacheDependency cache, std::shared_ptr<Trace> trace, std::function<void()> saved);

  // Coroutines, each with a reference of its own to what it works on.
  static Task<UUID> create(std::shared_ptr<CacheWatch> self);
  static Task<void> destroy(std::shared_ptr<CacheWatch> self, ManagerId id);
  static Task<void> save(std::shared_ptr<CacheWatch> self, ManagerId id, std::optional<URL> video,
                         std::string mimeType);
  static Task<Item> hand(std::shared_ptr<CacheWatch> self, ManagerId id, URL video,
                         std::string mimeType);
  static Task<void> prepare(std::shared_ptr<CacheWatch> self, const char* name,
                            Preparation preparation, ManagerId id, Video first, Video second);

  bool isOnDisk(const std::string& name) const;
  bool isPrepared(const URL& video) const;
  void noteDownload(const URL& video);
  void notePreparation(const std::string& operation, const Video& first, const Video& second);
  void keep(const Video& video) TAVRIN_REQUIRES(mutex_);
  void drop(const Video& video) TAVRIN_REQUIRES(mutex_);
  void noteItem(const URL& video, const Item& item);

  // Constant.
  const VideoCacheDependency cache_;
  const std::shared_ptr<Trace> trace_;
  const std::function<void()> saved_;
  const std::string directory_;

  mutable Mutex mutex_;
  // All by file name, as the cache knows its videos.
  std::set<std::string> prepared_ TAVRIN_GUARDED_BY(mutex_);
  std::map<std::string, std::weak_ptr<AVPlayerItem>> handedOut_ TAVRIN_GUARDED_BY(mutex_);
  std::map<std::string, Clock::time_point> downloading_ TAVRIN_GUARDED_BY(mutex_);
};

}  // namespace tavrin::app
