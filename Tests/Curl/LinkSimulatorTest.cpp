#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "Tavrin/Testing/Bytes.hpp"
#include "Tavrin/Testing/LinkSimulator.hpp"
#include "Tavrin/Testing/RangeServer.hpp"
#include "Tests/Curl/RecordingDelegate.hpp"

namespace tavrin::testing {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr std::int64_t length = 300'000;

class LinkSimulatorTest : public ::testing::Test {
 protected:
  LinkSimulatorTest() { server.serve("/clip.mp4", body); }
  ~LinkSimulatorTest() override {
    for (const auto& session : sessions) session->invalidateAndCancel();
  }

  std::shared_ptr<RecordingDelegate> download(const LinkSimulator& link) {
    auto delegate = std::make_shared<RecordingDelegate>();
    sessions.push_back(URLSession::make({}, delegate));
    sessions.back()->dataTask(link.url("/clip.mp4"))->resume();
    return delegate;
  }

  const std::string body = makeBody(length);
  RangeServer server;
  std::vector<std::shared_ptr<URLSession>> sessions;
};

TEST_F(LinkSimulatorTest, BringsBytesAtItsRateAndARoundTripLate) {
  LinkSimulator link(server.port(), {.bytesPerSecond = 1'000'000, .roundTrip = 60ms});
  const auto start = Clock::now();
  const auto delegate = download(link);
  ASSERT_TRUE(link.waitForBytes(1));
  EXPECT_GE(Clock::now() - start, 120ms) << "a connection, a request and its answer";
  ASSERT_TRUE(delegate->waitForEnds());
  EXPECT_GE(Clock::now() - start, 120ms + 295ms);
  EXPECT_LT(Clock::now() - start, 3s);
  EXPECT_TRUE(delegate->body() == body);
}

TEST_F(LinkSimulatorTest, IsSharedEquallyByAllConnections) {
  LinkSimulator link(server.port(), {.bytesPerSecond = 0});
  std::vector<std::shared_ptr<RecordingDelegate>> delegates;
  for (int i = 0; i < 3; ++i) delegates.push_back(download(link));
  ASSERT_TRUE(server.waitForConnections(3));
  link.setRate(1'000'000);
  ASSERT_TRUE(link.waitForBytes(2 * length));
  for (const auto& delegate : delegates) {
    EXPECT_NEAR(static_cast<double>(delegate->body().size()), 2.0 / 3 * length, 0.2 * length);
  }
  for (const auto& delegate : delegates) {
    ASSERT_TRUE(delegate->waitForEnds());
    EXPECT_TRUE(delegate->body() == body);
  }
}

TEST_F(LinkSimulatorTest, HoldsBytesAtRateZeroGoesOnAndDropsConnections) {
  LinkSimulator link(server.port(), {.bytesPerSecond = 1'000'000});
  const auto first = download(link);
  ASSERT_TRUE(link.waitForBytes(50'000));
  link.setRate(0);
  const auto second = download(link);
  ASSERT_TRUE(server.waitForConnections(2));
  EXPECT_LT(link.deliveredBytes(), length);
  EXPECT_EQ(second->countCalls(), 0u);
  link.drop();
  ASSERT_TRUE(first->waitForEnds());
  ASSERT_TRUE(second->waitForEnds());
  EXPECT_NE(first->error(), "");
  EXPECT_NE(second->error(), "");
  link.setRate(100'000'000);
  const auto third = download(link);
  ASSERT_TRUE(third->waitForEnds());
  EXPECT_TRUE(third->body() == body);
}

}  // namespace
}  // namespace tavrin::testing
