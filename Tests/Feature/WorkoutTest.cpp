#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <random>

#include "Tavrin/Architecture/Store.hpp"
#include "Tavrin/Feature/VideoFeature.hpp"
#include "Tavrin/Item/CachingPlayerItem.hpp"
#include "Tavrin/Testing/SampleMedia.hpp"
#include "Tavrin/Testing/ScriptedEngine.hpp"
#include "Tests/Support/CacheFixture.hpp"
#include "Tests/Support/CapturedStdout.hpp"
#include "Tests/Support/RecordingFeature.hpp"

namespace tavrin {
namespace {

using Business = VideoFeature::BusinessAction;

// The whole feature over a real server, real downloads and real files; only the engine is scripted.
class WorkoutTest : public testing::CacheFixture {
 protected:
  WorkoutTest() {
    testing::ScriptedEngine::install();
    for (int i = 0; i < 4; ++i) {
      const auto name = std::to_string(i) + ".mp4";
      server.serve("/" + name, body(i));
      media.emplace_back(Media(UUID::random(), url(name), {"video/mp4"}, i % 2 == 0));
    }
    media.insert(media.begin() + 2, Media(UUID::random(), url("rest.gif"), {"image/gif"}));
  }
  static std::string body(int i) { return testing::makeBody(100'000 + 1000 * i); }
  static void send(Store<VideoFeature>& store, Business action) {
    store.send(VideoFeatureAction::business(std::move(action)));
  }

  // Plays the workout to its end and returns, for each item, whether it played from bytes in
  // memory.
  std::vector<std::string> play() {
    std::vector<std::string> sources;
    Store<VideoFeature> store{VideoFeatureState(media), VideoFeature()};
    const auto& state = store.state();
    send(store, Business::prepareMedia());
    EXPECT_TRUE(waitUntil([&] { return state.managerId().has_value() && files().size() == 4; }));
    for (const auto& item : media) {
      send(store, Business::setMedia(SetMediaValues(item->id, false, true)));
      const bool isVideo = item->mimeType.isVideo();
      EXPECT_TRUE(waitUntil([&] {
        return state.currentMedia() == item &&
               (!isVideo || (state.player() && state.player()->isPlaying()));
      }));
      sources.push_back(isVideo ? sourceOf(*state.player()) : "image");
    }
    send(store, Business::playerDeinit());
    EXPECT_EQ(state.player(), nullptr);
    return sources;
  }

  static std::string sourceOf(const AVPlayer& player) {
    const auto item = std::dynamic_pointer_cast<CachingPlayerItem>(player.currentItem());
    if (!item) return "stream";
    return item->url().scheme() == "http" ? "download" : "bytes";
  }

  std::vector<std::optional<Media>> media;
  const testing::CapturedStdout printed;
};

TEST_F(WorkoutTest, EachVideoIsFetchedOnceEverAndThenPlaysWithoutAServer) {
  const std::vector<std::string> fromBytes = {"bytes", "bytes", "image", "bytes", "bytes"};
  EXPECT_EQ(play(), fromBytes) << "cold, once the downloads are there";
  for (int i = 0; i < 4; ++i) {
    const auto name = std::to_string(i) + ".mp4";
    EXPECT_EQ(server.countRequests("/" + name), 1U);
    EXPECT_TRUE(fileContents(name) == body(i)) << name;
  }
  for (const auto& request : server.requests()) {
    EXPECT_EQ(request.method, "GET");
    EXPECT_EQ(request.header("Range"), std::nullopt);
  }
  EXPECT_EQ(play(), fromBytes) << "warm";
  EXPECT_EQ(server.requests().size(), 4U);
  for (auto& item : media) {  // nothing listens there
    item->url = URL::parse("http://127.0.0.1:1/" + item->url->lastPathComponent());
  }
  EXPECT_EQ(play(), fromBytes) << "with the server gone";
}

// TAVRIN_BURSTS=600 makes as many.
TEST_F(WorkoutTest, QuickStepsEndOnTheLastItemAskedForWhateverTheFilesCostToRead) {
  constexpr std::array kilobytes = {1, 64, 1024, 5 * 1024, 64 * 1024};
  media.clear();
  for (const auto size : kilobytes) {
    const auto name = "k" + std::to_string(size) + ".mp4";
    addFile(name, std::string(static_cast<std::size_t>(size) * 1024, 'x'));
    media.emplace_back(Media(UUID::random(), url(name), {"video/mp4"}, false));
  }
  Store<VideoFeature> store{VideoFeatureState(media), VideoFeature()};
  const auto& state = store.state();
  send(store, Business::prepareMedia());
  ASSERT_TRUE(waitUntil([&] { return state.managerId().has_value(); }));
  int finished = 0;  // player effects
  const auto counting = state.playerIsSet.observe([&] { finished += state.playerIsSet() ? 1 : 0; });
  std::mt19937 random(1);
  const char* asked = std::getenv("TAVRIN_BURSTS");
  for (auto bursts = asked ? std::atoi(asked) : 30; bursts > 0; --bursts) {
    finished = 0;
    const auto steps = 2 + static_cast<int>(random() % 4);
    const Media* last = nullptr;
    for (int i = 0; i < steps; ++i) {
      last = &*media[random() % media.size()];
      send(store, Business::setMedia(SetMediaValues(last->id, random() % 2 == 0, true)));
      DispatchQueue::main().runUntil([] { return false; },
                                     std::chrono::microseconds(random() % 3000));
    }
    ASSERT_TRUE(waitUntil([&] { return finished == steps && state.player()->isPlaying(); }));
    ASSERT_EQ(state.currentMedia(), *last);
    const auto item = std::dynamic_pointer_cast<CachingPlayerItem>(state.player()->currentItem());
    ASSERT_NE(item, nullptr);
    ASSERT_EQ(item->url().lastPathComponent(), last->url->lastPathComponent());
  }
  send(store, Business::playerDeinit());
}

TEST_F(WorkoutTest, AVideoThatIsStillDownloadingIsHandedOutAsItDownloads) {
  server.serve("/0.mp4", body(0), "stall");
  Store<VideoFeature> store{VideoFeatureState(media), VideoFeature()};
  send(store, Business::prepareMedia());
  ASSERT_TRUE(waitUntil([&] { return files().size() == 3; }));
  ASSERT_TRUE(server.waitForPauses("/0.mp4", 1));
  send(store, Business::setMedia(SetMediaValues(media[0]->id, false, true)));
  ASSERT_TRUE(waitUntil([&] { return store.state().playerIsSet(); }));
  EXPECT_EQ(sourceOf(*store.state().player()), "download");
  server.releaseAll();
  EXPECT_TRUE(waitUntil([&] { return files().size() == 4; }));
  send(store, Business::playerDeinit());
  EXPECT_EQ(server.countRequests("/0.mp4"), 1U);
}

TEST_F(WorkoutTest, EachPlayersEngineHearsOfItsOwnPreparedNeighbours) {
  play();
  Store<VideoFeature> store{VideoFeatureState(media), VideoFeature()};
  Store<VideoFeature> other{VideoFeatureState({media[3], media[4]}), VideoFeature()};
  const auto hears = [&](Store<VideoFeature>& of, const Business& step, std::string names) {
    send(of, step);
    std::string expected;
    EXPECT_TRUE(waitUntil([&] {
      expected.clear();
      if (!of.state().player() || !of.state().currentMedia()) return false;
      auto& engine = dynamic_cast<testing::ScriptedEngine&>(of.state().player()->engine());
      for (const auto& address : engine.script()->expected()) {
        expected += URL::parse(address)->lastPathComponent()[0];
      }
      return expected == names;
    })) << expected
        << " in place of " << names;
  };
  for (auto* each : {&other, &store}) {
    send(*each, Business::prepareMedia());
    ASSERT_TRUE(waitUntil([&] { return each->state().managerId().has_value(); }));
  }
  hears(other, Business::nextMedia(), "32");
  hears(store, Business::nextMedia(), "10");
  hears(store, Business::nextMedia(), "210");
  hears(store, Business::nextMedia(), "210");  // an image
  hears(store, Business::nextMedia(), "321");
  hears(store, Business::prevMedia(), "321");
  hears(store, Business::prevMedia(), "021");
  hears(other, Business::nextMedia(), "32");

  const auto player = store.state().player();
  send(store, Business::playerDeinit());
  auto& engine = dynamic_cast<testing::ScriptedEngine&>(player->engine());
  EXPECT_TRUE(waitUntil([&] { return engine.script()->expected().empty(); }))
      << "a manager that has gone expects nothing";
  send(other, Business::playerDeinit());
}

}  // namespace
}  // namespace tavrin
