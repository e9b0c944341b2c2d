#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>
#include <utility>

#include "Tavrin/Foundation/Data.hpp"
#include "Tavrin/Foundation/Mutex.hpp"
#include "Tavrin/Foundation/URL.hpp"
#include "Tavrin/Foundation/URLSession.hpp"
#include "Tavrin/Item/CachingPlayerItem.hpp"
#include "Tavrin/Item/Internal/DownloadedBody.hpp"
#include "Tavrin/Media/AVAssetResourceLoader.hpp"

namespace tavrin {

/// Feeds an engine the bytes of one item: it downloads the item's address once, from its first byte
/// to its last, and answers loading requests from what has been received so far. A video in memory
/// is answered from at once.
///
/// Loading requests come on the main queue, the download on its session's serial queue. One lock
/// guards the fields, and a whole pass over the pending requests runs under it: passes never
/// overlap, and an answer never overtakes another. A request takes its bytes under that lock and
/// may only keep them and wake its reader; requests are finished, and the item's delegate is
/// called, without it. What waits for a disk is the body's, which calls back from other threads.
/// Any thread.
class CachingPlayerItem::ResourceLoaderDelegate final
    : public AVAssetResourceLoaderDelegate,
      public URLSessionDataDelegate,
      public std::enable_shared_from_this<ResourceLoaderDelegate> {
 public:
  using PendingRequests = std::unordered_set<std::shared_ptr<AVAssetResourceLoadingRequest>>;

  /// With the name of a directory, the bytes are written there as they come.
  static std::shared_ptr<ResourceLoaderDelegate> make(ResponseTest accepts = nullptr,
                                                      std::string directory = {});
  /// Invalidates and cancels a session that is still there.
  ~ResourceLoaderDelegate() override;

  /// Whether the video is in memory and nothing is ever downloaded.
  bool playingFromData() const;
  void setPlayingFromData(bool playingFromData);
  /// What a video in memory is; not used for one that is downloaded.
  std::optional<std::string> mimeType() const;
  void setMimeType(std::optional<std::string> mimeType);
  /// The download's session, kept for good: its presence means that the download was started.
  std::shared_ptr<URLSession> session() const;
  void setSession(std::shared_ptr<URLSession> session);
  /// The bytes received so far, absent before the response. A copy of bytes in memory that is still
  /// held when more come makes them be copied.
  std::optional<Data> mediaData() const;
  void setMediaData(std::optional<Data> mediaData);
  DownloadProgress progress() const;
  /// Absent until it has come.
  std::optional<URLResponse> response() const;
  /// When the video is likely to be played: what its download comes before. Those that a reader
  /// waits for come first of all.
  void setTurn(Turn turn);
  /// The requests that an engine is waiting for.
  PendingRequests pendingRequests() const;
  /// The item, held weakly.
  std::shared_ptr<CachingPlayerItem> owner() const;
  void setOwner(const std::shared_ptr<CachingPlayerItem>& owner);

  /// Starts the download if need be and answers the request as far as it can be. Always true.
  /// Stops the process when a download has to be started for an item that has gone.
  bool resourceLoader(AVAssetResourceLoader& loader,
                      const std::shared_ptr<AVAssetResourceLoadingRequest>&
                          shouldWaitForLoadingOfRequestedResource) override;
  void resourceLoaderDidCancel(
      AVAssetResourceLoader& loader,
      const std::shared_ptr<AVAssetResourceLoadingRequest>& request) override;

  /// Empties the buffer for the body that follows. One that does not pass the test is cancelled.
  void urlSession(URLSession& session, URLSessionDataTask& dataTask, const URLResponse& response,
                  const CompletionHandler& completionHandler) override;
  /// Bytes that no response preceded are dropped.
  void urlSession(URLSession& session, URLSessionDataTask& dataTask, const Data& chunk) override;
  /// Tells the readers where the resource ends, then the item's delegate. An end that no response
  /// preceded is a failure. Pending requests that cannot be answered in full stay pending.
  void urlSession(URLSession& session, URLSessionDataTask& task,
                  const std::optional<Error>& error) override;

  /// Starts a download, in a session that takes the place of an earlier one.
  void startDataRequest(const URL& url);
  /// Starts the download unless one was started or the video is in memory.
  void startDataRequestOnce(const URL& url);

  /// Gives every pending request what there is for it, and finishes those that have all they asked
  /// for. One that asks for no bytes is finished once its content information is filled in.
  void processPendingRequests();
  /// Fills in what is known of the content. Returns whether it is known.
  bool fillInContentInformationRequest(AVAssetResourceLoadingContentInformationRequest* request);
  /// Gives the request the bytes there are from its current offset on, as many as its whole length
  /// at most. Returns whether all it asked for has been downloaded.
  bool haveEnoughDataToFulfillRequest(AVAssetResourceLoadingDataRequest& request);

 private:
  ResourceLoaderDelegate(ResponseTest accepts, std::string directory)
      : accepts_(std::move(accepts)), directory_(std::move(directory)) {}

  bool answer(AVAssetResourceLoadingRequest& request) TAVRIN_REQUIRES(mutex_);
  bool fillIn(AVAssetResourceLoadingContentInformationRequest* request) TAVRIN_REQUIRES(mutex_);
  bool respond(AVAssetResourceLoadingDataRequest& request) TAVRIN_REQUIRES(mutex_);
  std::optional<Error> refusal() const;
  /// Has the link given to the download while a reader waits for its bytes.
  void updatePriority();
  double wantedPriority() const TAVRIN_REQUIRES(mutex_);
  using Clock = std::chrono::steady_clock;
  /// Whether a reader waits for bytes.
  bool isAwaited() const;
  std::shared_ptr<DownloadedBody> body() const;
  /// Suspends the download while its body, or the others, have to wait for the disk.
  void holdBack(URLSessionDataTask& task, DownloadedBody& body);
  void goOn();
  void handOver();
  void fail(const Error& error);

  const ResponseTest accepts_;   // absent: every response
  const std::string directory_;  // empty: the bytes stay in memory
  mutable Mutex mutex_;
  bool playingFromData_ TAVRIN_GUARDED_BY(mutex_) = false;
  bool isStarted_ TAVRIN_GUARDED_BY(mutex_) = false;
  Turn turn_ TAVRIN_GUARDED_BY(mutex_) = Turn::later;
  // A reader that has been satisfied is about to ask for more.
  Clock::time_point awaitedUntil_ TAVRIN_GUARDED_BY(mutex_);
  std::optional<std::string> mimeType_ TAVRIN_GUARDED_BY(mutex_);
  std::shared_ptr<URLSession> session_ TAVRIN_GUARDED_BY(mutex_);
  std::weak_ptr<URLSessionDataTask> task_ TAVRIN_GUARDED_BY(mutex_);  // until it has ended
  std::shared_ptr<DownloadedBody> body_ TAVRIN_GUARDED_BY(mutex_);    // null before the response
  std::optional<Error> refusal_ TAVRIN_GUARDED_BY(mutex_);  // of a response that did not pass
  std::optional<URLResponse> response_ TAVRIN_GUARDED_BY(mutex_);
  PendingRequests pendingRequests_ TAVRIN_GUARDED_BY(mutex_);
  std::weak_ptr<CachingPlayerItem> owner_ TAVRIN_GUARDED_BY(mutex_);
};

}  // namespace tavrin
