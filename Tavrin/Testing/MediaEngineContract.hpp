#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "Platform/Media/MediaEngine.hpp"

namespace tavrin::testing {

/// What an engine's own test provides so that the contract can be held against it. Main queue only.
class EngineUnderTest {
 public:
  /// What is loaded: a clip of one second, bytes that are no video, an asset whose bytes never
  /// come.
  enum class Kind { clip, broken, silent };

  virtual ~EngineUnderTest() = default;
  virtual std::unique_ptr<MediaEngine> make(std::weak_ptr<MediaEngine::Listener> listener) = 0;
  virtual void load(MediaEngine& engine, MediaEngine::LoadId load, Kind kind) = 0;
  /// Has a clip that plays come to its end.
  virtual void playToEnd(MediaEngine& engine) = 0;
};

struct EngineUnderTestCase {
  std::string name;
  std::function<std::unique_ptr<EngineUnderTest>()> make;
};

/// What every engine promises; instantiate it with one case per engine.
class MediaEngineContract : public ::testing::TestWithParam<EngineUnderTestCase> {};

}  // namespace tavrin::testing
