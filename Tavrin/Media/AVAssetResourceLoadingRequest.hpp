#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Tavrin/Foundation/Data.hpp"
#include "Tavrin/Foundation/Mutex.hpp"

namespace tavrin {

/// What a media engine wants to know of a resource before it reads it. Filled in by the resource
/// loader's delegate, which serialises its writes; read by the engine once the request is finished.
struct AVAssetResourceLoadingContentInformationRequest {
  std::optional<std::string> contentType;
  /// In bytes; -1 when it is not known.
  std::int64_t contentLength = 0;
  bool isByteRangeAccessSupported = false;
};

/// A range of bytes that a media engine waits for. Any thread.
class AVAssetResourceLoadingDataRequest {
 public:
  /// Called with each answer's offset and bytes, inside `respond`: it may take the bytes and wake
  /// whoever waits for them, and may not call the resource loader or its delegate.
  using Receiver = std::function<void(std::int64_t offset, Data bytes)>;

  AVAssetResourceLoadingDataRequest(std::int64_t offset, std::int64_t length, Receiver receiver)
      : requestedOffset(offset),
        requestedLength(length),
        receiver_(std::move(receiver)),
        currentOffset_(offset) {}

  // Neither is negative.
  const std::int64_t requestedOffset;  // bytes from the start of the resource
  const std::int64_t requestedLength;  // bytes

  /// Where the next answer begins: the end of what has been supplied.
  std::int64_t currentOffset() const { return currentOffset_.load(std::memory_order_acquire); }
  /// Supplies the next bytes, from `currentOffset`. More than was asked for is allowed. The caller
  /// serialises its calls.
  void respond(Data bytes);

 private:
  const Receiver receiver_;
  std::atomic<std::int64_t> currentOffset_;
};

/// One request of a media engine to a resource loader's delegate, for content information, for
/// bytes, or for both.
class AVAssetResourceLoadingRequest {
 public:
  AVAssetResourceLoadingRequest(bool wantsInformation,
                                std::shared_ptr<AVAssetResourceLoadingDataRequest> data,
                                std::function<void(AVAssetResourceLoadingRequest&)> finished);

  /// Absent when the engine does not ask for it. Owned by the request.
  AVAssetResourceLoadingContentInformationRequest* contentInformationRequest() {
    return information_ ? &*information_ : nullptr;
  }
  /// Absent when the engine does not ask for bytes.
  const std::shared_ptr<AVAssetResourceLoadingDataRequest>& dataRequest() const { return data_; }
  /// Tells the engine, on the calling thread and with no lock held, that the request is answered.
  /// Later calls do nothing.
  void finishLoading();

 private:
  std::optional<AVAssetResourceLoadingContentInformationRequest> information_;
  const std::shared_ptr<AVAssetResourceLoadingDataRequest> data_;
  const std::function<void(AVAssetResourceLoadingRequest&)> finished_;
  Mutex mutex_;
  bool isFinished_ TAVRIN_GUARDED_BY(mutex_) = false;
};

}  // namespace tavrin
