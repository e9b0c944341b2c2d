#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "Tavrin/Foundation/Executor.hpp"
#include "Tavrin/Foundation/URLSession.hpp"
#include "Tavrin/View/ImageDecoder.hpp"
#include "Tavrin/View/ImageMemoryCache.hpp"

namespace tavrin {

/// What views on screen stand on. The defaults are the real things.
struct ViewEnvironment {
  using SessionFactory =
      std::function<std::shared_ptr<URLSession>(std::shared_ptr<URLSessionDataDelegate>)>;

  SessionFactory makeSession = [](std::shared_ptr<URLSessionDataDelegate> delegate) {
    return URLSession::make(URLSessionConfiguration(), std::move(delegate));
  };
  /// Where images are decoded. It must outlive the views.
  Executor& executor = Executor::shared();
  /// Shared by the views; never null.
  std::shared_ptr<ImageMemoryCache> cache = std::make_shared<ImageMemoryCache>();
  /// Called when a view has its first frame, on any thread: a host that sleeps between events
  /// wakes up.
  std::function<void()> needsDisplay = [] {};

  /// Per view, in bytes: the largest body that is taken, and the decoded frames that are held.
  std::int64_t downloadLimit = 64LL << 20;
  std::int64_t decodedFramesBudget = 128LL << 20;
  ImageLimits imageLimits = {};
};

}  // namespace tavrin
