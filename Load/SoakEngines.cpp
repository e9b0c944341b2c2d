#include "Load/SoakEngines.hpp"

#include "Load/Clips.hpp"

namespace tavrin::load {

namespace {

template <class Values>
void forgetExpired(Values& values) {
  std::erase_if(values, [](const auto& value) { return value.expired(); });
}

}  // namespace

std::unique_ptr<MediaEngine> SoakEngines::make(std::weak_ptr<MediaEngine::Listener> listener) {
  forgetExpired(real_);
  if (real_.size() < mostReal) {
    ++madeReal_;
    real_.push_back(listener);
    return makeSilentMpv(std::move(listener));
  }
  ++madeScripted_;
  forgetExpired(scripted_);
  forgetExpired(scripts_);
  scripted_.push_back(listener);
  auto engine = std::make_unique<testing::ScriptedEngine>(std::move(listener));
  engine->script()->setBecomesReady(true);
  scripts_.push_back(engine->script());
  return engine;
}

void SoakEngines::report(Dice& dice) {
  if (scripts_.empty()) return;
  const auto chosen = static_cast<std::size_t>(dice.below(static_cast<int>(scripts_.size())));
  const auto script = scripts_[chosen].lock();
  if (!script) return;
  script->takeOperations();  // or they would be kept as long as the engine
  switch (dice.below(4)) {
    case 0:
      return script->becomeReady();
    case 1:
      return script->fail("as the script says");
    case 2:
      return script->stall();
    default:
      return script->playToEnd();
  }
}

bool SoakEngines::isIdle() {
  forgetExpired(real_);
  forgetExpired(scripted_);
  return real_.empty() && scripted_.empty();
}

}  // namespace tavrin::load
