#include "Tavrin/Media/MediaEngine.hpp"

#include <new>
#include <string>
#include <system_error>
#include <utility>

#include "Tavrin/Foundation/FatalError.hpp"
#include "Tavrin/Foundation/Mutex.hpp"
#include "Tavrin/Media/Internal/FailingEngine.hpp"

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
  try {
    return factory(listener);
  } catch (const std::system_error& error) {
    return std::make_unique<FailingEngine>(std::move(listener),
                                           std::string("no player can be made: ") + error.what());
  } catch (const std::bad_alloc&) {
    return std::make_unique<FailingEngine>(std::move(listener),
                                           "there is not enough memory for a player");
  }
}

}  // namespace tavrin
