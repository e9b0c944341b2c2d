#include "Tavrin/Testing/ScriptedEngine.hpp"

#include <cstring>
#include <sstream>
#include <utility>

#include "Tavrin/Foundation/DispatchQueue.hpp"

namespace tavrin::testing {

namespace {

struct Scripts {
  Mutex mutex;
  std::vector<std::shared_ptr<EngineScript>> made TAVRIN_GUARDED_BY(mutex);
};

Scripts& scripts() {
  static auto* instance = new Scripts;
  return *instance;
}

template <class Value>
std::string line(std::string_view operation, const Value& value) {
  std::ostringstream text;
  text << operation << ' ' << std::boolalpha << value;
  return std::move(text).str();
}

}  // namespace

std::vector<std::string> EngineScript::operations() const {
  const LockGuard lock(mutex_);
  return operations_;
}

std::vector<std::string> EngineScript::takeOperations() {
  const LockGuard lock(mutex_);
  return std::exchange(operations_, {});
}

std::vector<std::string> EngineScript::expected() const {
  const LockGuard lock(mutex_);
  return expected_;
}

MediaEngine::LoadId EngineScript::load() const {
  const LockGuard lock(mutex_);
  return load_;
}

bool EngineScript::isPlaying() const {
  const LockGuard lock(mutex_);
  return isPlaying_;
}

bool EngineScript::isReleased() const {
  const LockGuard lock(mutex_);
  return isReleased_;
}

void EngineScript::record(std::string operation) { operations_.push_back(std::move(operation)); }

void EngineScript::report(
    const std::function<void(MediaEngine::Listener&, MediaEngine::LoadId)>& call) {
  MediaEngine::LoadId current = 0;
  {
    const LockGuard lock(mutex_);
    if (isReleased_ || !asset_) return;
    current = load_;
  }
  if (const auto listener = listener_.lock()) call(*listener, current);
}

void EngineScript::becomeReady() {
  std::function<void()> pictureHandler;
  {
    const LockGuard lock(mutex_);
    hasPicture_ = asset_ != nullptr;
    pictureHandler = pictureHandler_;
  }
  report([](auto& listener, auto current) { listener.engineDidBecomeReady(current); });
  if (pictureHandler) pictureHandler();
}

void EngineScript::fail(const std::string& description) {
  report(
      [&](auto& listener, auto current) { listener.engineDidFail(current, Error(description)); });
}

void EngineScript::stall() {
  report([](auto& listener, auto current) { listener.engineDidStall(current); });
}

void EngineScript::playToEnd() {
  report([](auto& listener, auto current) { listener.engineDidPlayToEnd(current); });
}

void EngineScript::setBecomesReady(bool becomesReady) {
  const LockGuard lock(mutex_);
  becomesReady_ = becomesReady;
}

void EngineScript::setHoldsSeeks(bool holdsSeeks) {
  const LockGuard lock(mutex_);
  holdsSeeks_ = holdsSeeks;
}

void EngineScript::setInsideSeek(std::function<void()> handler) {
  const LockGuard lock(mutex_);
  insideSeek_ = std::move(handler);
}

void EngineScript::endSeek() {
  Completion held;
  {
    const LockGuard lock(mutex_);
    held = std::exchange(heldSeek_, nullptr);
  }
  end(std::move(held), true);
}

void EngineScript::end(Completion completion, bool finished) {
  if (!completion) return;
  DispatchQueue::main().async(
      [completion = std::move(completion), finished] { completion(finished); });
}

void ScriptedEngine::install() {
  {
    auto& known = scripts();
    const LockGuard lock(known.mutex);
    known.made.clear();
  }
  MediaEngine::setFactory([](std::weak_ptr<Listener> listener) {
    auto engine = std::make_unique<ScriptedEngine>(std::move(listener));
    auto& known = scripts();
    const LockGuard lock(known.mutex);
    known.made.push_back(engine->script());
    return engine;
  });
}

std::shared_ptr<EngineScript> ScriptedEngine::last() {
  auto& known = scripts();
  const LockGuard lock(known.mutex);
  return known.made.empty() ? nullptr : known.made.back();
}

std::vector<std::shared_ptr<EngineScript>> ScriptedEngine::all() {
  auto& known = scripts();
  const LockGuard lock(known.mutex);
  return known.made;
}

ScriptedEngine::ScriptedEngine(std::weak_ptr<Listener> listener)
    : script_(new EngineScript(std::move(listener))) {}

ScriptedEngine::~ScriptedEngine() {
  EngineScript::Completion held;
  {
    const LockGuard lock(script_->mutex_);
    script_->record("release");
    script_->isReleased_ = true;
    script_->asset_ = nullptr;
    held = std::exchange(script_->heldSeek_, nullptr);
  }
  EngineScript::end(std::move(held), false);
}

void ScriptedEngine::load(LoadId load, std::shared_ptr<AVURLAsset> asset) {
  EngineScript::Completion overtaken;
  bool becomesReady = false;
  {
    const LockGuard lock(script_->mutex_);
    script_->record(line("load", load) +
                    (asset ? " " + asset->url().absoluteString() : std::string(" none")));
    if (load < script_->load_) return;
    script_->load_ = load;
    std::swap(script_->asset_, asset);
    script_->hasPicture_ = false;
    script_->position_ = 0;
    overtaken = std::exchange(script_->heldSeek_, nullptr);
    becomesReady = script_->becomesReady_ && script_->asset_;
  }
  EngineScript::end(std::move(overtaken), false);
  if (!becomesReady) return;
  DispatchQueue::main().async([script = script_, load] {
    if (script->load() == load) script->becomeReady();
  });
}

void ScriptedEngine::expect(std::vector<std::shared_ptr<AVURLAsset>> assets) {
  const LockGuard lock(script_->mutex_);
  script_->expected_.clear();
  for (const auto& asset : assets) script_->expected_.push_back(asset->url().absoluteString());
}

void ScriptedEngine::setPlaying(bool playing) {
  const LockGuard lock(script_->mutex_);
  script_->record(line("setPlaying", playing));
  script_->isPlaying_ = playing;
}

void ScriptedEngine::seek(CMTime time, std::function<void(bool)> completion) {
  EngineScript::Completion overtaken;
  std::function<void()> inside;
  bool isLoaded = false;
  bool isHeld = false;
  {
    const LockGuard lock(script_->mutex_);
    script_->record(line("seek", time.seconds));
    isLoaded = script_->asset_ != nullptr;
    isHeld = isLoaded && script_->holdsSeeks_;
    overtaken = std::exchange(script_->heldSeek_, isHeld ? std::move(completion) : nullptr);
    if (isLoaded) script_->position_ = time.seconds;
    inside = script_->insideSeek_;
  }
  EngineScript::end(std::move(overtaken), false);
  if (!isHeld) EngineScript::end(std::move(completion), isLoaded);
  if (inside) inside();
}

void ScriptedEngine::setMuted(bool muted) {
  const LockGuard lock(script_->mutex_);
  script_->record(line("setMuted", muted));
}

void ScriptedEngine::setWaitsToMinimizeStalling(bool waits) {
  const LockGuard lock(script_->mutex_);
  script_->record(line("setWaitsToMinimizeStalling", waits));
}

CMTime ScriptedEngine::currentTime() const {
  const LockGuard lock(script_->mutex_);
  return {script_->position_};
}

void ScriptedEngine::setPictureHandler(std::function<void()> handler) {
  const LockGuard lock(script_->mutex_);
  script_->pictureHandler_ = std::move(handler);
}

std::optional<MediaEngine::LoadId> ScriptedEngine::draw(const PixelBuffer& target) {
  const LockGuard lock(script_->mutex_);
  if (!script_->hasPicture_ || !target.canBeDrawn()) return std::nullopt;
  for (int row = 0; row < target.height; ++row) {
    std::memset(target.pixels + row * target.stride, 0xFF,
                static_cast<std::size_t>(target.width) * 4);
  }
  return script_->load_;
}

}  // namespace tavrin::testing
