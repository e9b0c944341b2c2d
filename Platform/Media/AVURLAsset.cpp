#include "Platform/Media/AVURLAsset.hpp"

#include "Platform/Media/AVAssetResourceLoader.hpp"

namespace tavrin {

std::shared_ptr<AVURLAsset> AVURLAsset::make(const URL& url) {
  return std::shared_ptr<AVURLAsset>(new AVURLAsset(url));
}

AVURLAsset::AVURLAsset(const URL& url)
    : url_(url), resourceLoader_(std::make_shared<AVAssetResourceLoader>()) {}

}  // namespace tavrin
