#include "Tests/Support/ScriptedResource.hpp"

#include <algorithm>

#include "Platform/Foundation/DispatchQueue.hpp"

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

bool ScriptedResource::resourceLoader(
    AVAssetResourceLoader&, const std::shared_ptr<AVAssetResourceLoadingRequest>& request) {
  if (isRefusing_) return false;
  if (!answer(*request)) waiting_.insert(request);
  return true;
}

void ScriptedResource::resourceLoaderDidCancel(
    AVAssetResourceLoader&, const std::shared_ptr<AVAssetResourceLoadingRequest>& request) {
  waiting_.erase(request);
}

bool ScriptedResource::answer(AVAssetResourceLoadingRequest& request) {
  if (auto* information = request.contentInformationRequest(); information && available_ > 0) {
    information->contentType = "video/mp4";
    information->contentLength = bytes_.count();
    information->isByteRangeAccessSupported = true;
  }
  auto& wanted = *request.dataRequest();
  const std::int64_t end =
      std::min(wanted.requestedOffset + wanted.requestedLength, bytes_.count());
  const std::int64_t from = wanted.currentOffset();
  const std::int64_t count = std::min(end, available_) - from;
  if (count > 0) wanted.respond(bytes_.subdata(from, count));
  if (available_ < end) return false;
  request.finishLoading();
  return true;
}

}  // namespace tavrin::testing
