#include "Tavrin/Testing/ScriptedResource.hpp"

#include <algorithm>

#include "Tavrin/Foundation/DispatchQueue.hpp"

namespace tavrin::testing {

std::shared_ptr<ScriptedResource> ScriptedResource::make(Data bytes) {
  return std::shared_ptr<ScriptedResource>(new ScriptedResource(std::move(bytes)));
}

std::shared_ptr<AVURLAsset> ScriptedResource::asset() {
  auto asset = AVURLAsset::make(*URL::parse("cachingPlayerItemScheme://cachedVideo/clip"));
  asset->resourceLoader()->setDelegate(shared_from_this(), DispatchQueue::main());
  return asset;
}

void ScriptedResource::setAvailable(std::int64_t count) {
  available_ = count;
  const auto waiting = waiting_;
  for (const auto& request : waiting) {
    if (answer(*request)) waiting_.erase(request);
  }
}

void ScriptedResource::breakOff(const std::shared_ptr<AVURLAsset>& asset) {
  asset->resourceLoader()->setEnd(
      {available_, Error(ErrorCode::connectionLost, "the connection was lost")});
}

bool ScriptedResource::resourceLoader(
    AVAssetResourceLoader&, const std::shared_ptr<AVAssetResourceLoadingRequest>& request) {
  if (request->contentInformationRequest()) ++readers_;  // each reader's first request
  if (!answer(*request)) waiting_.insert(request);
  return true;
}

void ScriptedResource::resourceLoaderDidCancel(
    AVAssetResourceLoader&, const std::shared_ptr<AVAssetResourceLoadingRequest>& request) {
  waiting_.erase(request);
}

bool ScriptedResource::answer(AVAssetResourceLoadingRequest& request) {
  auto* information = request.contentInformationRequest();
  const bool canTellLength = available_ > 0 || bytes_.isEmpty();
  if (information && canTellLength) {
    information->contentType = "video/mp4";
    information->contentLength = bytes_.count();
    information->isByteRangeAccessSupported = true;
  }
  const bool isInformed = !information || canTellLength;
  if (!isInformed || !supply(request.dataRequest().get())) return false;
  request.finishLoading();
  return true;
}

bool ScriptedResource::supply(AVAssetResourceLoadingDataRequest* wanted) {
  if (!wanted) return true;
  const auto end = std::min(wanted->requestedOffset + wanted->requestedLength, bytes_.count());
  const auto from = wanted->currentOffset();
  const auto count = std::min(end, available_) - from;
  if (count > 0) wanted->respond(bytes_.subdata(from, count));
  return available_ >= end;
}

}  // namespace tavrin::testing
