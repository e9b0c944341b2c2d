#include <chrono>

#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/Testing/MediaEngineContract.hpp"
#include "Tests/Engine/MpvSubject.hpp"

namespace tavrin::testing {

namespace {

class MpvSubject final : public EngineUnderTest {
 public:
  std::unique_ptr<MediaEngine> make(std::weak_ptr<MediaEngine::Listener> listener) override {
    return makeMpvEngine(std::move(listener), log_.options());
  }

  std::shared_ptr<AVURLAsset> makeAsset(Kind kind) override {
    auto& resource = resources_.emplace_back(ScriptedResource::make(
        kind == Kind::broken ? Data("no video, but some text\n") : clip("red.mp4")));
    if (kind == Kind::silent) resource->setAvailable(0);
    return resource->asset();
  }

  void waitUntilReadAhead() override {
    EXPECT_TRUE(DispatchQueue::main().runUntil([this] { return resources_.back()->readers() > 0; },
                                               std::chrono::seconds(20)));
  }

  void playToEnd(MediaEngine&) override {}

 private:
  ErrorLog log_;
  std::vector<std::shared_ptr<ScriptedResource>> resources_;
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Mpv, MediaEngineContract,
                         ::testing::Values(EngineUnderTestCase{
                             "Mpv", [] { return std::make_unique<MpvSubject>(); }}),
                         [](const auto& parameter) { return parameter.param.name; });

}  // namespace tavrin::testing
