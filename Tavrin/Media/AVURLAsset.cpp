#include "Tavrin/Media/AVURLAsset.hpp"

#include <utility>

#include "Tavrin/Media/AVAssetResourceLoader.hpp"

namespace tavrin {

std::shared_ptr<AVURLAsset> AVURLAsset::make(URL url) {
  return std::shared_ptr<AVURLAsset>(new AVURLAsset(std::move(url)));
}

AVURLAsset::AVURLAsset(URL url)
    : url_(std::move(url)), resourceLoader_(std::make_shared<AVAssetResourceLoader>()) {}

}  // namespace tavrin
