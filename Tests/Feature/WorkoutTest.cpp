#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Architecture/Store.hpp"
#include "Tavrin/CachingPlayerItem.hpp"
#include "Tavrin/VideoFeature.hpp"
#include "Tests/Support/CacheFixture.hpp"
#include "Tests/Support/CapturedStdout.hpp"
#include "Tests/Support/RecordingFeature.hpp"
#include "Tests/Support/SampleMedia.hpp"
#include "Tests/Support/ScriptedEngine.hpp"

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

}  // namespace
}  // namespace tavrin
