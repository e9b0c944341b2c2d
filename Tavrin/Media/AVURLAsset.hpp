#pragma once

#include <memory>

#include "Tavrin/Foundation/ResponseTest.hpp"
#include "Tavrin/Foundation/URL.hpp"

namespace tavrin {

class AVAssetResourceLoader;

/// The media at an address. It is streamed from there, unless a delegate has been installed on the
/// resource loader: then every byte comes from that delegate.
class AVURLAsset {
 public:
  /// `accepts` decides which answers are streamed. Absent: all of them.
  static std::shared_ptr<AVURLAsset> make(URL url, ResponseTest accepts = nullptr);

  const URL& url() const { return url_; }
  const ResponseTest& accepts() const { return accepts_; }
  /// The same object on every call. Any thread.
  const std::shared_ptr<AVAssetResourceLoader>& resourceLoader() const { return resourceLoader_; }

 private:
  AVURLAsset(URL url, ResponseTest accepts);

  // Constant after construction.
  const URL url_;
  const ResponseTest accepts_;
  const std::shared_ptr<AVAssetResourceLoader> resourceLoader_;
};

}  // namespace tavrin
