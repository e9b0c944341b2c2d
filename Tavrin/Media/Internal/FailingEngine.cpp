#include "Tavrin/Media/Internal/FailingEngine.hpp"

#include "Tavrin/Foundation/DispatchQueue.hpp"

namespace tavrin {

void FailingEngine::load(LoadId load, std::shared_ptr<AVURLAsset> asset) {
  if (!asset) return;
  DispatchQueue::main().async([load, listener = listener_, reason = reason_] {
    const auto told = listener.lock();
    if (told) told->engineDidFail(load, Error{ErrorCode::noMemory, reason});
  });
}

void FailingEngine::seek(CMTime, std::function<void(bool)> completion) {
  if (!completion) return;
  DispatchQueue::main().async([completion = std::move(completion)] { completion(false); });
}

}  // namespace tavrin
