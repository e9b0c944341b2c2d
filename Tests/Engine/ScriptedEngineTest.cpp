#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/Testing/MediaEngineContract.hpp"
#include "Tavrin/Testing/ScriptedEngine.hpp"

namespace tavrin::testing {

namespace {

class ScriptedSubject final : public EngineUnderTest {
 public:
  std::unique_ptr<MediaEngine> make(std::weak_ptr<MediaEngine::Listener> listener) override {
    auto engine = std::make_unique<ScriptedEngine>(std::move(listener));
    script_ = engine->script();
    return engine;
  }

  std::shared_ptr<AVURLAsset> makeAsset(Kind) override {
    return AVURLAsset::make(*URL::parse("http://host/clip.mp4"));
  }

  void load(MediaEngine& engine, MediaEngine::LoadId load, Kind kind,
            std::shared_ptr<AVURLAsset> asset) override {
    script_->setBecomesReady(kind == Kind::clip);
    engine.load(load, std::move(asset));
    if (kind != Kind::broken) return;
    DispatchQueue::main().async([script = script_, load] {
      if (script->load() == load) script->fail("it is no video");
    });
  }

  void playToEnd(MediaEngine&) override {
    DispatchQueue::main().async([script = script_] { script->playToEnd(); });
  }

 private:
  std::shared_ptr<EngineScript> script_;
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Scripted, MediaEngineContract,
                         ::testing::Values(EngineUnderTestCase{
                             "Scripted", [] { return std::make_unique<ScriptedSubject>(); }}),
                         [](const auto& parameter) { return parameter.param.name; });

}  // namespace tavrin::testing
