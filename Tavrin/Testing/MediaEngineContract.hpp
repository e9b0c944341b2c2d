#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "Tavrin/Media/MediaEngine.hpp"

namespace tavrin::testing {

/// What an engine's own test provides so that the contract can be held against it. Main queue only.
class EngineUnderTest {
 public:
  /// What is loaded: a clip of one second, bytes that are no video, an asset whose bytes never
  /// come.
  enum class Kind { clip, broken, silent };

  virtual ~EngineUnderTest() = default;
  virtual std::unique_ptr<MediaEngine> make(std::weak_ptr<MediaEngine::Listener> listener) = 0;
  /// A new asset. The subject may not keep it: a test waits until the engine has let go of it.
  virtual std::shared_ptr<AVURLAsset> makeAsset(Kind kind) = 0;
  /// Loads such an asset.
  virtual void load(MediaEngine& engine, MediaEngine::LoadId load, Kind /*kind*/,
                    std::shared_ptr<AVURLAsset> asset) {
    engine.load(load, std::move(asset));
  }
  /// Waits until the engine reads the asset that was made last, ahead of its load. Nothing to wait
  /// for in an engine that does not open ahead.
  virtual void waitUntilReadAhead() {}
  /// Has a clip that plays come to its end.
  virtual void playToEnd(MediaEngine& engine) = 0;
};

struct EngineUnderTestCase {
  std::string name;
  std::function<std::unique_ptr<EngineUnderTest>()> make;
};

/// What every engine promises; instantiate it with one case per engine.
class MediaEngineContract : public ::testing::TestWithParam<EngineUnderTestCase> {};

/// Including this header links the suite, which a linker would leave out of a static library.
bool linkMediaEngineContract();
inline const bool mediaEngineContractIsLinked = linkMediaEngineContract();

}  // namespace tavrin::testing
