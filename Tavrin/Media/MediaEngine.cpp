#include "Platform/Media/MediaEngine.hpp"

#include <utility>

#include "Platform/Foundation/FatalError.hpp"
#include "Platform/Foundation/Mutex.hpp"

namespace tavrin {

namespace {

struct ChosenFactory {
  Mutex mutex;
  MediaEngine::Factory factory TAVRIN_GUARDED_BY(mutex);
};

ChosenFactory& chosen() {
  static auto* instance = new ChosenFactory;
  return *instance;
}

}  // namespace

void MediaEngine::setFactory(Factory factory) {
  auto& choice = chosen();
  const LockGuard lock(choice.mutex);
  choice.factory = std::move(factory);
}

std::unique_ptr<MediaEngine> MediaEngine::make(std::weak_ptr<Listener> listener) {
  Factory factory;
  {
    auto& choice = chosen();
    const LockGuard lock(choice.mutex);
    factory = choice.factory;
  }
  if (!factory) fatalError("No media engine: call MediaEngine::setFactory before making a player");
  return factory(std::move(listener));
}

}  // namespace tavrin
