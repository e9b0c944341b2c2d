#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "Tavrin/Curl/CurlSession.hpp"
#include "Tavrin/Foundation/Mutex.hpp"
#include "Tavrin/Testing/LinkSimulator.hpp"
#include "Tavrin/Testing/RangeServer.hpp"
#include "Tests/Curl/RecordingDelegate.hpp"

namespace tavrin::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::IsEmpty;

struct Download {
  Download(const URL& url, double priority, const curl::TransferLimits& limits = {})
      : session(curl::CurlSession::make({}, heard, limits)), task(session->dataTask(url)) {
    task->setPriority(priority);
    task->resume();
  }
  ~Download() { session->invalidateAndCancel(); }

  const std::shared_ptr<RecordingDelegate> heard = std::make_shared<RecordingDelegate>();
  const std::shared_ptr<URLSession> session;
  const std::shared_ptr<URLSessionDataTask> task;
};

constexpr double normal = URLSessionDataTask::defaultPriority, watched = 1;

// Each has all of its bytes before the one behind it has, whatever the link does to them.
TEST(Priority, WatchedComesFirstOverASlowLink) {
  const std::string body(150'000, 'v');
  RangeServer server;
  server.serve("/v.mp4", body);
  const LinkSimulator link(server.port(), {.bytesPerSecond = 1'000'000, .roundTrip = 10ms});
  std::vector<std::unique_ptr<Download>> downloads;
  for (int i = 0; i < 8; ++i) {
    downloads.push_back(std::make_unique<Download>(link.url("/v.mp4"), normal));
  }
  ASSERT_TRUE(downloads[0]->heard->waitForCalls(2));
  downloads[7]->task->setPriority(watched);
  const auto before = link.deliveredBytes();
  ASSERT_TRUE(downloads[7]->heard->waitForEnds());
  EXPECT_TRUE(downloads[7]->heard->body() == body);
  // Beside its own: what was on its way when the others were held, which is half of all at most.
  EXPECT_LT(link.deliveredBytes() - before, 4 * std::ssize(body));
  for (const auto& download : downloads) {
    ASSERT_TRUE(download->heard->waitForEnds());
    EXPECT_THAT(download->heard->error(), IsEmpty());
    EXPECT_TRUE(download->heard->body() == body);
  }
}

// What a server has under way cannot be taken back: left alone, the system lets it send 64 KiB and
// more, a third of a second of this link.
TEST(Priority, LittleIsUnderWayOnASlowLinkWhenItIsNeeded) {
  constexpr std::int64_t rate = 200'000, length = 100'000;
  RangeServer server;
  server.serve("/left.mp4", std::string(10 * rate, 'v'));
  server.serve("/watched.mp4", std::string(length, 'v'));
  const LinkSimulator link(server.port(), {.bytesPerSecond = rate, .roundTrip = 10ms});
  const Download left(link.url("/left.mp4"), normal);
  ASSERT_TRUE(link.waitForBytes(13 * rate / 10)) << "the time in which the rate is found";
  const auto before = link.deliveredBytes();
  const Download wanted(link.url("/watched.mp4"), watched);
  ASSERT_TRUE(wanted.heard->waitForEnds());
  EXPECT_LT(link.deliveredBytes() - before - length, 75'000);
}

TEST(Priority, TransferThatIsHeldNeitherTimesOutNorFailsWhenItIsDropped) {
  constexpr curl::TransferLimits brief{.silence = 300ms};
  RangeServer server;
  server.serve("/held.mp4", {HTTPStep::pause(), HTTPStep::close()});
  server.serve("/watched.mp4", "v", "silence");
  Download held(server.url("/held.mp4"), normal, brief);
  ASSERT_TRUE(server.waitForPauses("/held.mp4", 1));
  // Each gives nothing, and has the link for as long as that is allowed.
  for (std::size_t i = 1; i <= 2; ++i) {
    const Download first(server.url("/watched.mp4"), watched, brief);
    ASSERT_TRUE(server.waitForPauses("/watched.mp4", i));
    if (i == 1) {
      server.serve("/held.mp4", "whole");
      server.release("/held.mp4");
    }
    ASSERT_TRUE(first.heard->waitForEnds());
    if (i == 1) held.task->setPriority(0);  // it may change at any time
  }
  ASSERT_TRUE(held.heard->waitForEnds());
  EXPECT_THAT(held.heard->error(), IsEmpty());
  EXPECT_EQ(held.heard->body(), "whole");
  EXPECT_EQ(server.countRequests("/held.mp4"), 2u);
}

// Its response has been heard, so the body has to be the one that the response told of.
TEST(Priority, TransferThatIsHeldAndDroppedBeforeItsFirstByteStartsAgain) {
  constexpr curl::TransferLimits brief{.silence = 300ms};
  for (const std::string body : {"whole", "another"}) {
    RangeServer server;
    LinkSimulator link(server.port(), {.bytesPerSecond = 100'000'000});
    const auto head = httpHead("200 OK", "Content-Type: video/mp4\r\nContent-Length: 5\r\n");
    server.serve("/held.mp4", {head, HTTPStep::pause()});
    server.serve("/watched.mp4", "v", "silence");
    const Download held(link.url("/held.mp4"), normal, brief);
    ASSERT_TRUE(held.heard->waitForCalls(1));
    const Download first(server.url("/watched.mp4"), watched, brief);
    ASSERT_TRUE(server.waitForPauses("/watched.mp4", 1));
    server.serve("/held.mp4", body);
    link.drop();
    ASSERT_TRUE(first.heard->waitForEnds());
    ASSERT_TRUE(held.heard->waitForEnds());
    EXPECT_EQ(server.countRequests("/held.mp4"), 2u);
    EXPECT_EQ(held.heard->countResponses(), 1u);
    EXPECT_EQ(held.heard->body(), body == "whole" ? body : "");
    EXPECT_EQ(held.heard->code().has_value(), body != "whole") << held.heard->error();
  }
}

}  // namespace
}  // namespace tavrin::testing
