#include "Tavrin/Media/AVURLAsset.hpp"

#include <utility>

#include "Tavrin/Media/AVAssetResourceLoader.hpp"

namespace tavrin {

std::shared_ptr<AVURLAsset> AVURLAsset::make(URL url, ResponseTest accepts) {
  return std::shared_ptr<AVURLAsset>(new AVURLAsset(std::move(url), std::move(accepts)));
}

AVURLAsset::AVURLAsset(URL url, ResponseTest accepts)
    : url_(std::move(url)),
      accepts_(std::move(accepts)),
      resourceLoader_(std::make_shared<AVAssetResourceLoader>()) {}

}  // namespace tavrin
