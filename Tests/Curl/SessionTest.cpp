#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Tavrin/Curl/CurlSession.hpp"
#include "Tavrin/Testing/RangeServer.hpp"
#include "Tests/Curl/RecordingDelegate.hpp"

namespace tavrin::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Disposition = URLSessionDataDelegate::ResponseDisposition;

std::shared_ptr<URLSession> start(const URL& url,
                                  std::shared_ptr<URLSessionDataDelegate> delegate) {
  auto session = URLSession::make({}, std::move(delegate));
  session->dataTask(url)->resume();
  return session;
}

long countThreads() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

// Tells when it goes, and how many calls it had had: none can follow.
class MortalDelegate : public RecordingDelegate {
 public:
  ~MortalDelegate() override { calls_.set_value(countCalls()); }
  std::future<std::size_t> calls() { return calls_.get_future(); }

 private:
  std::promise<std::size_t> calls_;
};

// Answers responses only after the test has opened it.
class GatedDelegate : public MortalDelegate {
 public:
  explicit GatedDelegate(std::shared_future<void> gate) {
    onResponse = [gate = std::move(gate)](URLSession&) {
      gate.wait();
      return Disposition::allow;
    };
  }
};

TEST(Session, TwoHundredDownloadsShareOneTransferThread) {
  constexpr std::size_t downloads = 200;
  RangeServer server;
  const std::string body(100'000, 'v');
  server.serve("/v.mp4", body);
  // The first session starts the threads: one that transfers and four that deliver.
  const auto threadsBefore = countThreads();
  std::vector<std::shared_ptr<RecordingDelegate>> delegates(downloads);
  std::vector<std::shared_ptr<URLSession>> sessions;
  for (auto& delegate : delegates) {
    delegate = std::make_shared<RecordingDelegate>();
    sessions.push_back(start(server.url("/v.mp4"), delegate));
  }
  EXPECT_LE(countThreads(), threadsBefore + 1 + 4);
  for (const auto& delegate : delegates) {
    ASSERT_TRUE(delegate->waitForEnds());
    EXPECT_THAT(delegate->error(), IsEmpty());
    EXPECT_TRUE(delegate->body() == body);
    EXPECT_THAT(delegate->misconduct(), IsEmpty());
  }
  for (const auto& session : sessions) session->invalidateAndCancel();
}

TEST(Session, RunningTransferNeedsNoHandleAndKeepsItsDelegate) {
  RangeServer server;
  server.serve("/v.mp4", std::string(1000, 'v'), "stall");
  const auto delegate = std::make_shared<RecordingDelegate>();
  const std::weak_ptr<URLSession> session = start(server.url("/v.mp4"), delegate);
  ASSERT_TRUE(server.waitForPauses("/v.mp4", 1));
  EXPECT_FALSE(session.expired());
  server.releaseAll();
  ASSERT_TRUE(delegate->waitForEnds());
  EXPECT_EQ(delegate->body().size(), 1000u);
}

// Suspends a task when its response comes.
class SuspendingDelegate final : public RecordingDelegate {
 public:
  using RecordingDelegate::urlSession;
  void urlSession(URLSession& session, URLSessionDataTask& task, const URLResponse& response,
                  const CompletionHandler& handler) override {
    if (&task == suspended) task.suspend();
    RecordingDelegate::urlSession(session, task, response, handler);
  }
  std::atomic<URLSessionDataTask*> suspended = nullptr;
};

TEST(Session, SuspendedTaskOutlivesItsTransfer) {
  RangeServer server;
  server.serve("/v.mp4", "v");
  const auto delegate = std::make_shared<SuspendingDelegate>();
  const auto session = URLSession::make({}, delegate);
  auto task = session->dataTask(server.url("/v.mp4"));
  delegate->suspended = task.get();
  task->resume();
  const std::weak_ptr weak = std::exchange(task, nullptr);
  ASSERT_TRUE(delegate->waitForCalls(1));
  ASSERT_TRUE(server.waitForConnections(0));
  // The same queue has heard all of another one since.
  session->dataTask(server.url("/v.mp4"))->resume();
  ASSERT_TRUE(delegate->waitForCalls(4));
  EXPECT_EQ(delegate->body(), "v");
  ASSERT_TRUE(task = weak.lock());
  task->resume();
  ASSERT_TRUE(delegate->waitForCalls(6));
  EXPECT_EQ(delegate->body(), "vv");
  session->invalidateAndCancel();
}

TEST(Session, CancelDispositionEndsTheTask) {
  RangeServer server;
  server.serve("/v.mp4", std::string(1000, 'v'), "stall");
  const auto delegate = std::make_shared<RecordingDelegate>();
  delegate->onResponse = [](URLSession&) { return Disposition::cancel; };
  const auto session = start(server.url("/v.mp4"), delegate);
  ASSERT_TRUE(delegate->waitForEnds());
  EXPECT_THAT(delegate->error(), HasSubstr("cancelled"));
  EXPECT_THAT(delegate->body(), IsEmpty());
  EXPECT_TRUE(server.waitForConnections(0));
  session->invalidateAndCancel();
  session->invalidateAndCancel();
  session->dataTask(server.url("/v.mp4"))->resume();
}

TEST(Session, InvalidatingInsideACallMakesItTheLast) {
  RangeServer server;
  server.serve("/v.mp4", std::string(4'000'000, 'v'));
  const auto invalidate = [](URLSession& session) { session.invalidateAndCancel(); };

  auto inResponse = std::make_shared<MortalDelegate>();
  inResponse->onResponse = [](URLSession& session) {
    session.invalidateAndCancel();
    return Disposition::allow;
  };
  auto cancelling = std::make_shared<MortalDelegate>();
  cancelling->onResponse = [](URLSession& session) {
    session.invalidateAndCancel();
    return Disposition::cancel;
  };
  auto inChunk = std::make_shared<MortalDelegate>();
  inChunk->onChunk = invalidate;
  auto inEnd = std::make_shared<MortalDelegate>();
  inEnd->onEnd = invalidate;

  for (auto* delegate : {&inResponse, &cancelling, &inChunk, &inEnd}) {
    auto calls = (*delegate)->calls();
    start(server.url("/v.mp4"), std::move(*delegate));
    ASSERT_EQ(calls.wait_for(std::chrono::seconds(30)), std::future_status::ready);
    const auto count = calls.get();
    const std::size_t expected = delegate == &inChunk ? 2 : delegate == &inEnd ? count : 1;
    EXPECT_EQ(count, expected);
  }
}

TEST(Session, SlowDelegateHoldsUpItselfAlone) {
  RangeServer server;
  const std::string body(6'000'000, 'v');
  server.serve("/v.mp4", body);
  std::promise<void> gate;
  const auto slow = std::make_shared<GatedDelegate>(gate.get_future().share());
  const auto session = start(server.url("/v.mp4"), slow);
  const auto quick = std::make_shared<RecordingDelegate>();
  const auto other = start(server.url("/v.mp4"), quick);
  ASSERT_TRUE(quick->waitForEnds());
  EXPECT_THAT(slow->body(), IsEmpty());
  gate.set_value();
  ASSERT_TRUE(slow->waitForEnds());
  EXPECT_THAT(slow->error(), IsEmpty());
  EXPECT_TRUE(slow->body() == body) << "what waited arrives whole";
  session->invalidateAndCancel();
  other->invalidateAndCancel();
}

TEST(Session, WaitingForItsOwnDelegateIsNoSilence) {
  RangeServer server;
  const std::string body(2'000'000, 'v');
  server.serve("/v.mp4", body);
  server.serve("/silent.mp4", "v", "silence");
  constexpr curl::TransferLimits limits{.silence = std::chrono::milliseconds(150),
                                        .queuedBytes = 16'384};
  std::promise<void> gate;
  const auto slow = std::make_shared<GatedDelegate>(gate.get_future().share());
  const auto session = curl::CurlSession::make({}, slow, limits);
  session->dataTask(server.url("/v.mp4"))->resume();
  ASSERT_TRUE(slow->waitForCalls(1));
  // Others that began later run out of time, twice over.
  for (int i = 0; i < 2; ++i) {
    const auto silent = std::make_shared<RecordingDelegate>();
    const auto other = curl::CurlSession::make({}, silent, limits);
    other->dataTask(server.url("/silent.mp4"))->resume();
    ASSERT_TRUE(silent->waitForEnds());
    EXPECT_THAT(silent->error(), HasSubstr("timed out"));
  }
  gate.set_value();
  ASSERT_TRUE(slow->waitForEnds());
  EXPECT_THAT(slow->error(), IsEmpty());
  EXPECT_TRUE(slow->body() == body);
  session->invalidateAndCancel();
}

TEST(Session, CancellingTwoHundredWaitsForNoDelegate) {
  constexpr std::size_t downloads = 200;
  RangeServer server;
  const std::string body(400'000, 'v');
  server.serve("/v.mp4", body, "stall");
  std::promise<void> gate;
  const auto opened = gate.get_future().share();
  std::vector<std::future<std::size_t>> calls;
  std::vector<std::shared_ptr<URLSession>> sessions;
  for (std::size_t i = 0; i < downloads; ++i) {
    auto delegate = std::make_shared<GatedDelegate>(opened);
    calls.push_back(delegate->calls());
    sessions.push_back(start(server.url("/v.mp4"), std::move(delegate)));
  }
  ASSERT_TRUE(server.waitForPauses("/v.mp4", 1));
  for (const auto& session : sessions) session->invalidateAndCancel();
  sessions.clear();
  EXPECT_TRUE(server.waitForConnections(0)) << "while delegates are still inside their calls";
  gate.set_value();
  for (auto& count : calls) EXPECT_LE(count.get(), 1u);
}

TEST(SessionDeathTest, ProcessMayExitMidDownload) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        static RangeServer server;
        server.serve("/v.mp4", std::string(8'000'000, 'v'), "stall");
        static std::vector<std::shared_ptr<URLSession>> kept;
        for (int i = 0; i < 6; ++i) {
          const auto delegate = std::make_shared<RecordingDelegate>();
          auto session = start(server.url("/v.mp4"), delegate);
          delegate->waitForCalls(2);  // the response and bytes
          if (i % 2 == 0) kept.push_back(std::move(session));
        }
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), "^$");
}

}  // namespace
}  // namespace tavrin::testing
