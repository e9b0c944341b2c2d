#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Tests/Item/ItemSupport.hpp"

namespace tavrin::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

using Range = std::pair<std::int64_t, std::int64_t>;  // offset and length

TEST(ResourceLoader, AnswersFromMemoryAtOnce) {
  const auto item = CachingPlayerItem::make(Data(makeBody(1000)), "video/webm", "clip.webm");
  const auto first = TestRequest::make(Range(0, 2), true);
  const auto pastTheEnd = TestRequest::make(Range(900, 200));
  const auto atTheEnd = TestRequest::make(Range(1000, 1));
  const auto information = TestRequest::make(std::nullopt, true);
  for (const auto& each : {first, pastTheEnd, atTheEnd, information}) ask(*item, *each);

  EXPECT_EQ(first->information().contentType, "video/webm");
  EXPECT_EQ(first->information().contentLength, 1000);
  EXPECT_TRUE(first->information().isByteRangeAccessSupported);
  EXPECT_EQ(first->received, bodyPart(0, 2));
  EXPECT_TRUE(first->isFinished);
  EXPECT_EQ(pastTheEnd->received, bodyPart(900, 1000));
  EXPECT_FALSE(pastTheEnd->isFinished);
  EXPECT_THAT(atTheEnd->received, IsEmpty());
  EXPECT_FALSE(atTheEnd->isFinished);
  EXPECT_TRUE(information->isFinished);
  EXPECT_EQ(loaderOf(*item)->pendingRequests().size(), 2u);
}

TEST(ResourceLoader, AnswersWhatHasArrivedAndNeverTwice) {
  ScriptedDownload download;
  const auto request = TestRequest::make(Range(0, 100));
  ask(*download.item, *request);
  download.respond(1000);
  download.receiveBody(0, 60);
  EXPECT_EQ(request->received, bodyPart(0, 60));
  EXPECT_FALSE(request->isFinished);
  // The whole length again, from where the first answer ended: past the end of what was asked.
  download.receiveBody(60, 200);
  EXPECT_EQ(request->received, bodyPart(0, 160));
  EXPECT_TRUE(request->isFinished);
  download.receiveBody(200, 300);
  EXPECT_EQ(request->received.size(), 160u);
  EXPECT_THAT(download.loader->pendingRequests(), IsEmpty());
}

TEST(ResourceLoader, CompletesARequestByTheBytesDownloaded) {
  ScriptedDownload download;
  download.respond(-1);
  download.receiveBody(0, 100);
  const auto exact = TestRequest::make(Range(0, 100));
  const auto oneMore = TestRequest::make(Range(0, 101));
  const auto behind = TestRequest::make(Range(100, 50));
  const auto huge = TestRequest::make(Range(50, std::numeric_limits<std::int64_t>::max()));
  for (const auto& each : {exact, oneMore, behind, huge}) ask(*download.item, *each);
  EXPECT_TRUE(exact->isFinished);
  EXPECT_FALSE(oneMore->isFinished);
  EXPECT_THAT(behind->received, IsEmpty());
  EXPECT_EQ(huge->received, bodyPart(50, 100));
  EXPECT_FALSE(huge->isFinished);
  download.receiveBody(100, 120);
  EXPECT_TRUE(oneMore->isFinished);
  EXPECT_EQ(behind->received, bodyPart(100, 120));
}

TEST(ResourceLoader, TellsOfTheContentOnceTheResponseIsThere) {
  ScriptedDownload download;
  const auto information = TestRequest::make(std::nullopt, true);
  const auto both = TestRequest::make(Range(0, 10), true);
  ask(*download.item, *information);
  ask(*download.item, *both);
  EXPECT_FALSE(information->isFinished);
  EXPECT_FALSE(both->information().isByteRangeAccessSupported);
  download.respond(-1, "video/x-odd");
  EXPECT_TRUE(information->isFinished);
  EXPECT_EQ(information->information().contentType, "video/x-odd");
  EXPECT_EQ(information->information().contentLength, -1);
  EXPECT_FALSE(both->isFinished);
  // What a later response says holds for the requests that still wait.
  download.respond(10, std::nullopt);
  EXPECT_EQ(both->information().contentType, std::nullopt);
  EXPECT_EQ(both->information().contentLength, 10);
}

TEST(ResourceLoader, AnswersPartByPart) {
  ScriptedDownload download;
  const auto asked = TestRequest::make(Range(0, 10), true);
  auto& bytes = *asked->request->dataRequest();
  EXPECT_FALSE(download.loader->fillInContentInformationRequest(nullptr));
  EXPECT_FALSE(download.loader->response());
  EXPECT_FALSE(download.loader->haveEnoughDataToFulfillRequest(bytes));

  download.respond(10, "video/mp4");
  ASSERT_TRUE(download.loader->response());
  EXPECT_EQ(download.loader->response()->mimeType, "video/mp4");
  EXPECT_TRUE(download.loader->fillInContentInformationRequest(nullptr));
  EXPECT_TRUE(download.loader->fillInContentInformationRequest(&asked->information()));
  EXPECT_EQ(asked->information().contentLength, 10);
  download.receiveBody(0, 4);
  EXPECT_FALSE(download.loader->haveEnoughDataToFulfillRequest(bytes));
  EXPECT_EQ(asked->received, bodyPart(0, 4));
  download.receiveBody(4, 10);
  EXPECT_TRUE(download.loader->haveEnoughDataToFulfillRequest(bytes));
  EXPECT_EQ(asked->received, bodyPart(0, 10));
  EXPECT_FALSE(asked->isFinished);
}

TEST(ResourceLoader, KeepsOnlyTheBytesAfterTheLastResponse) {
  ScriptedDownload download;
  download.receive("lost");
  EXPECT_FALSE(download.loader->mediaData());
  download.respond(4);
  EXPECT_EQ(download.loader->mediaData(), Data());
  download.receive("old");
  download.respond(4);
  download.receive("new");
  EXPECT_EQ(download.loader->mediaData(), Data(std::string_view("new")));
}

TEST(ResourceLoader, ForgetsACancelledRequest) {
  ScriptedDownload download;
  const auto request = TestRequest::make(Range(0, 4), true);
  ask(*download.item, *request);
  download.loader->resourceLoaderDidCancel(*download.item->asset()->resourceLoader(),
                                           request->request);
  EXPECT_THAT(download.loader->pendingRequests(), IsEmpty());
  download.respond(4);
  download.receiveBody(0, 4);
  EXPECT_THAT(request->received, IsEmpty());
  EXPECT_FALSE(request->isFinished);
  EXPECT_EQ(download.session->invalidations, 0);
}

TEST(ResourceLoader, HandsOverTheWholeBodyAfterALastPass) {
  ScriptedDownload download;
  const auto delegate = std::make_shared<RecordingItemDelegate>();
  download.item->setDelegate(delegate);
  const auto request = TestRequest::make(Range(40, 100));
  delegate->onEnd = [&](CachingPlayerItem&) { EXPECT_EQ(request->received, bodyPart(40, 100)); };
  ask(*download.item, *request);
  download.respond(100);
  download.loader->setMediaData(Data(makeBody(100)));  // without a pass, unlike a chunk
  EXPECT_THAT(request->received, IsEmpty());
  download.complete();
  EXPECT_THAT(delegate->events(), ElementsAre("finished 100"));
  EXPECT_EQ(delegate->body(), makeBody(100));
  EXPECT_FALSE(request->isFinished);

  const auto later = TestRequest::make(Range(10, 20));
  ask(*download.item, *later);
  EXPECT_EQ(later->received, bodyPart(10, 30));
  EXPECT_TRUE(later->isFinished);
  EXPECT_EQ(download.loader->session(), download.session);
}

TEST(ResourceLoader, ReportsAFailureAndAnswersOnlyWhatCameBefore) {
  ScriptedDownload download;
  const auto delegate = std::make_shared<RecordingItemDelegate>();
  download.item->setDelegate(delegate);
  const auto waiting = TestRequest::make(Range(0, 100));
  ask(*download.item, *waiting);
  download.respond(100);
  download.receiveBody(0, 50);
  download.complete(Error{"reset by peer"});
  EXPECT_THAT(delegate->events(), ElementsAre("failed: reset by peer"));
  EXPECT_FALSE(waiting->isFinished);
  const auto later = TestRequest::make(Range(10, 20));
  const auto behind = TestRequest::make(Range(60, 20));
  ask(*download.item, *later);
  ask(*download.item, *behind);
  EXPECT_TRUE(later->isFinished);
  EXPECT_THAT(behind->received, IsEmpty());
  EXPECT_EQ(download.loader->pendingRequests().size(), 2u);
  download.item->download();
  EXPECT_EQ(download.loader->session(), download.session);

  ScriptedDownload unanswered;
  unanswered.item->setDelegate(delegate);
  unanswered.complete();
  EXPECT_THAT(delegate->events().back(), HasSubstr("failed: ")) << "an end without a response";
  EXPECT_FALSE(unanswered.loader->mediaData());
}

TEST(ResourceLoader, CallsNobodyWhileItIsLocked) {
  // Whoever is told may ask the loader for anything; under its lock that would never return.
  ScriptedDownload download;
  const auto delegate = std::make_shared<RecordingItemDelegate>();
  download.item->setDelegate(delegate);
  const auto first = TestRequest::make(Range(0, 10));
  const auto second = TestRequest::make(Range(0, 10));
  first->onFinish = [&] { ask(*download.item, *second); };
  delegate->onEnd = [&](CachingPlayerItem&) { download.loader->processPendingRequests(); };
  ask(*download.item, *first);
  download.respond(10);
  download.receiveBody(0, 10);
  download.complete();
  EXPECT_TRUE(first->isFinished);
  EXPECT_TRUE(second->isFinished);
}

// Two threads make passes at once, as the main queue and a session do.
TEST(ResourceLoader, NeverSuppliesAByteTwiceWhenPassesMeet) {
  constexpr std::int64_t length = 20'000;
  ScriptedDownload download;
  download.respond(length);
  std::vector<std::shared_ptr<TestRequest>> requests;
  std::thread session([&] {
    const auto body = makeBody(length);
    for (std::size_t at = 0; at < body.size(); at += 100) download.receive(body.substr(at, 100));
  });
  for (std::int64_t at = 0; at < length; at += 200) {
    requests.push_back(TestRequest::make(Range(at, 200), true));
    ask(*download.item, *requests.back());
    if (at % 1000 == 0) {
      download.loader->resourceLoaderDidCancel(*download.item->asset()->resourceLoader(),
                                               requests.back()->request);
    }
  }
  session.join();
  download.complete();
  for (const auto& each : requests) {
    const auto& range = *each->request->dataRequest();
    const auto expected =
        bodyPart(range.requestedOffset,
                 range.requestedOffset + static_cast<std::int64_t>(each->received.size()));
    EXPECT_EQ(each->received, expected);
    if (range.requestedOffset % 1000 != 0) {
      EXPECT_TRUE(each->isFinished);
    }
  }
}

TEST(ResourceLoaderDeathTest, StopsWhenADownloadIsNeededForAnItemThatHasGone) {
  const auto loader = Loader::make();
  AVAssetResourceLoader assetLoader;
  const auto request = TestRequest::make(Range(0, 1));
  EXPECT_DEATH(loader->resourceLoader(assetLoader, request->request), "internal inconsistency");
}

}  // namespace
}  // namespace tavrin::testing
