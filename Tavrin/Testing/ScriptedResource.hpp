#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>

#include "Tavrin/Foundation/Data.hpp"
#include "Tavrin/Media/AVAssetResourceLoader.hpp"
#include "Tavrin/Media/AVURLAsset.hpp"

namespace tavrin::testing {

/// Answers an asset's loading requests from bytes that arrive when a test says so. Main queue only.
class ScriptedResource final : public AVAssetResourceLoaderDelegate,
                               public std::enable_shared_from_this<ScriptedResource> {
 public:
  /// A resource of which all bytes are there.
  static std::shared_ptr<ScriptedResource> make(Data bytes);

  /// An asset whose bytes come from here, for as long as this lives.
  std::shared_ptr<AVURLAsset> asset();
  /// How many readers have asked for it.
  int readers() const { return readers_; }
  /// Whether a reader waits for it.
  bool isAwaited() const { return !waiting_.empty(); }
  /// How many bytes are there; requests for more wait. With none, the length is not told either.
  void setAvailable(std::int64_t count);
  /// Says that no more bytes will come to the asset than are there, and that some are missing.
  void breakOff(const std::shared_ptr<AVURLAsset>& asset);

  bool resourceLoader(AVAssetResourceLoader& loader,
                      const std::shared_ptr<AVAssetResourceLoadingRequest>& request) override;
  void resourceLoaderDidCancel(
      AVAssetResourceLoader& loader,
      const std::shared_ptr<AVAssetResourceLoadingRequest>& request) override;

 private:
  explicit ScriptedResource(Data bytes) : bytes_(std::move(bytes)), available_(bytes_.count()) {}
  bool answer(AVAssetResourceLoadingRequest& request);
  bool supply(AVAssetResourceLoadingDataRequest* wanted);

  const Data bytes_;
  std::int64_t available_;
  int readers_ = 0;
  std::set<std::shared_ptr<AVAssetResourceLoadingRequest>> waiting_;
};

}  // namespace tavrin::testing
