#pragma once

#include <memory>

#include "Tavrin/Foundation/URL.hpp"

namespace tavrin {

class AVAssetResourceLoader;

/// The media at an address. It is streamed from there, unless a delegate has been installed on the
/// resource loader: then every byte comes from that delegate.
class AVURLAsset {
 public:
  static std::shared_ptr<AVURLAsset> make(URL url);

  const URL& url() const { return url_; }
  /// The same object on every call. Any thread.
  const std::shared_ptr<AVAssetResourceLoader>& resourceLoader() const { return resourceLoader_; }

 private:
  explicit AVURLAsset(URL url);

  // Constant after construction.
  const URL url_;
  const std::shared_ptr<AVAssetResourceLoader> resourceLoader_;
};

}  // namespace tavrin
