#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Tavrin/Foundation/NotificationCenter.hpp"
#include "Tests/Item/ItemSupport.hpp"

namespace tavrin::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::shared_ptr<CachingPlayerItem> makeItemInMemory(std::string_view name) {
  return CachingPlayerItem::make(Data(std::string_view("bytes")), "video/mp4", name);
}

TEST(CachingPlayerItem, GivesTheEngineTheAddressUnderAPrivateScheme) {
  const std::string rest = "://user@host:81/a%20b/clip[1].mp4?x=1|2&y=%2F#t=3";
  const auto item = CachingPlayerItem::make(makeURL("https" + rest));
  EXPECT_EQ(item->asset()->url().absoluteString(), "cachingPlayerItemScheme" + rest);
  EXPECT_EQ(item->url().absoluteString(), "https" + rest);
  EXPECT_EQ(item->initialScheme(), "https");
  EXPECT_EQ(item->asset()->resourceLoader()->queue(), &DispatchQueue::main());
  EXPECT_FALSE(loaderOf(*item)->session());
  EXPECT_EQ(loaderOf(*item)->owner(), item);
}

TEST(CachingPlayerItem, HoldsAVideoThatIsInMemory) {
  const auto item = makeItemInMemory("clip.mp4");
  EXPECT_EQ(item->url().absoluteString(), "cachingPlayerItemScheme://cachedVideo/clip.mp4");
  EXPECT_EQ(item->asset()->url(), item->url());
  EXPECT_EQ(item->initialScheme(), std::nullopt);
  const auto loader = loaderOf(*item);
  EXPECT_TRUE(loader->playingFromData());
  EXPECT_EQ(loader->mimeType(), "video/mp4");
  EXPECT_EQ(loader->mediaData(), Data(std::string_view("bytes")));
  item->download();
  EXPECT_FALSE(loader->session());
}

TEST(CachingPlayerItem, MatchesItsVideoByAnyNameThatAFileMayHave) {
  std::vector<std::string> names{"b c.mp4", "na\u00efve%.mp4", "a%20b.mp4", "..", "?#[]|;", "%"};
  for (int byte = 1; byte < 256; ++byte) {
    const auto character = static_cast<char>(byte);
    if (character != '/') names.push_back("clip" + std::string(1, character) + ".mp4");
    if (character != '/') names.emplace_back(1, character);
  }
  for (const auto& name : names) {
    EXPECT_EQ(makeItemInMemory(name)->url().lastPathComponent(), name);
    // The name of a video, read from its address and given to the item, leads back to the video.
    const auto video = makeURL("http://host/videos/" + URL::percentEncode(name) + "?quality=high");
    EXPECT_EQ(makeItemInMemory(video.lastPathComponent())->url().lastPathComponent(),
              video.lastPathComponent());
  }
  // What no file can be named comes back too: it is for whoever names files to refuse it.
  EXPECT_EQ(makeItemInMemory("a/b")->url().lastPathComponent(), "a/b");
  EXPECT_EQ(makeItemInMemory(std::string("a\0b", 3))->url().lastPathComponent(),
            std::string("a\0b", 3));
}

TEST(CachingPlayerItem, TellsItsDelegateOfEveryChangeOfStatusAndOfItsOwnStalls) {
  const auto item = makeItemInMemory("clip.mp4");
  const auto other = makeItemInMemory("clip.mp4");
  item->setStatus(AVPlayerItemStatus::readyToPlay);  // lost: there is no delegate yet
  const auto delegate = std::make_shared<RecordingItemDelegate>();
  item->setDelegate(delegate);
  EXPECT_THAT(delegate->events(), IsEmpty());
  NotificationCenter::defaultCenter().post(AVPlayerItemPlaybackStalled, item);
  NotificationCenter::defaultCenter().post(AVPlayerItemPlaybackStalled, other);
  item->setStatus(AVPlayerItemStatus::failed);
  EXPECT_THAT(delegate->events(), ElementsAre("stalled", "ready"));
}

TEST(CachingPlayerItem, EndsItsDownloadWithItselfAndTellsNobody) {
  ScriptedDownload download;
  const auto delegate = std::make_shared<RecordingItemDelegate>();
  download.item->setDelegate(delegate);
  download.respond(10);
  const std::weak_ptr<CachingPlayerItem> item = download.item;
  const auto asset = download.item->asset();
  download.item.reset();
  EXPECT_TRUE(item.expired());
  EXPECT_EQ(download.session->invalidations, 1);
  // What was under way when the item went still arrives.
  download.receive("late");
  download.complete(Error{"cancelled"});
  EXPECT_THAT(delegate->events(), IsEmpty());
  // The loader lives on in its session; an engine no longer reaches it.
  EXPECT_FALSE(asset->resourceLoader()->delegate());
}

TEST(CachingPlayerItem, StaysWholeWhileARequestIsDelivered) {
  ScriptedDownload download;
  auto delivered = download.item->asset()->resourceLoader()->delegate();
  download.item.reset();
  EXPECT_EQ(download.session->invalidations, 0);
  EXPECT_TRUE(download.loader->owner());
  delivered.reset();
  EXPECT_EQ(download.session->invalidations, 1);
}

TEST(CachingPlayerItemDeathTest, StopsOverWhatItCannotPlay) {
  for (const auto* address : {"videos/clip.mp4", "//host/clip.mp4", "1http://host/a", ":nothing"}) {
    EXPECT_DEATH(CachingPlayerItem::make(makeURL(address)),
                 "Urls without a scheme are not supported");
  }
  EXPECT_DEATH(
      CachingPlayerItem::make(AVURLAsset::make(makeURL("http://host/clip.mp4")), std::nullopt),
      "not implemented");
}

}  // namespace
}  // namespace tavrin::testing
