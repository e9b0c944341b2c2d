#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "Tavrin/Curl/CurlSession.hpp"
#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/Testing/RangeServer.hpp"
#include "Tavrin/Testing/TemporaryDirectory.hpp"
#include "Tests/Curl/RecordingDelegate.hpp"
#include "Tests/Support/PrivateNetwork.hpp"
#include "Tests/Support/Sanitizers.hpp"
#include "Tests/Support/ScarceMemory.hpp"
#include "Tests/Support/TLSServer.hpp"

// What surrounds the process: its descriptors, its proxies, its name server. Each test has a
// process of its own, which ends with status 0 when all went well.
namespace tavrin::testing {
namespace {

using namespace std::chrono_literals;

// A download that goes on. Held until the process ends.
struct Download {
  explicit Download(const URL& url, const URLSessionConfiguration& configuration = {})
      : heard(std::make_shared<RecordingDelegate>()),
        session(URLSession::make(configuration, heard)) {
    session->dataTask(url)->resume();
  }

  std::string wait() const { return heard->waitForEnds() ? heard->error() : "no end"; }

  std::shared_ptr<RecordingDelegate> heard;
  std::shared_ptr<URLSession> session;
};

void expect(bool holds, const std::string& what) {
  if (holds) return;
  std::fputs((what + "\n").c_str(), stderr);
  std::_Exit(1);
}

// Ends the process in the usual way, which must be quick.
[[noreturn]] void exitQuickly() {
  static const auto begun = std::chrono::steady_clock::now();
  // The first to be added runs last.
  std::atexit([] { expect(std::chrono::steady_clock::now() - begun < 2s, "exit took long"); });
  std::exit(0);
}

[[noreturn]] void reachLoopback() {
  RangeServer proxy;
  RangeServer server;
  setenv("http_proxy", proxy.url("").absoluteString().c_str(), 1);
  server.serve("/v.mp4", "direct");
  proxy.serve(server.url("/v.mp4").absoluteString(), "through the proxy");
  const Download direct(server.url("/v.mp4"));
  expect(direct.wait().empty() && direct.heard->body() == "direct", direct.heard->error());
  const Download asked(server.url("/v.mp4"), {.sendsLoopbackToProxy = true});
  expect(asked.wait().empty() && asked.heard->body() == "through the proxy", "not asked");
  exitQuickly();
}

[[noreturn]] void runOutOfDescriptors() {
  RangeServer server;
  server.serve("/v.mp4", "body");
  constexpr rlimit few{.rlim_cur = 64, .rlim_max = 64};
  expect(setrlimit(RLIMIT_NOFILE, &few) == 0, "no limit can be set");
  std::vector<int> taken;
  while (taken.empty() || taken.back() >= 0) taken.push_back(::open("/dev/null", O_RDONLY));
  for (int i = 0; i < 2; ++i) {
    const Download starved(server.url("/v.mp4"));
    expect(starved.heard->waitForEnds(), "it waits for descriptors");
    expect(starved.heard->code() == ErrorCode::noMemory, starved.heard->error());
  }
  for (const int descriptor : taken) ::close(descriptor);
  const Download fed(server.url("/v.mp4"));
  expect(fed.wait().empty() && fed.heard->body() == "body", fed.heard->error());
  exitQuickly();
}

// Without threads the delegate, too, is called on the main queue.
[[noreturn]] void runOutOfThreads() {
  alarm(20);
  ScarceMemory::shareOneHeap();
  RangeServer server;
  server.serve("/v.mp4", "body");
  {
    const ScarceMemory none(ScarceMemory::lessThanAStack);
    const Download starved(server.url("/v.mp4"));
    DispatchQueue::main().runUntil([&] { return starved.heard->countEnds() > 0; }, 10s);
    expect(starved.heard->code() == ErrorCode::noMemory, starved.heard->error());
  }
  const Download fed(server.url("/v.mp4"));
  expect(fed.wait().empty() && fed.heard->body() == "body", fed.heard->error());
  exitQuickly();
}

[[noreturn]] void downloadMoreThanThereAreDescriptors() {
  RangeServer server;
  server.serve("/v.mp4", "body");
  constexpr rlimit few{.rlim_cur = 64, .rlim_max = 64};
  expect(setrlimit(RLIMIT_NOFILE, &few) == 0, "no limit can be set");
  std::vector<Download> downloads;
  for (int i = 0; i < 300; ++i) downloads.emplace_back(server.url("/v.mp4"));
  for (const auto& download : downloads) expect(download.wait().empty(), download.heard->error());
  exitQuickly();
}

[[noreturn]] void askSilentNameServer() {
  expect(enterPrivateNetwork(), "no private network");
  RangeServer server;
  server.serve("/v.mp4", "body");
  std::vector<Download> hung;
  for (int i = 0; i < 4; ++i) {
    hung.emplace_back(*URL::parse("http://name" + std::to_string(i) + ".example/v.mp4"));
  }
  const auto begun = std::chrono::steady_clock::now();
  expect(Download(server.url("/v.mp4")).wait().empty(), "held up by the names");
  for (std::size_t i = 0; i < 2; ++i) hung[i].session->invalidateAndCancel();
  expect(Download(server.url("/v.mp4")).wait().empty(), "held up by what was cancelled");
  expect(std::chrono::steady_clock::now() - begun < 2s, "somebody waited");
  const auto heard = std::make_shared<RecordingDelegate>();
  const auto session = curl::CurlSession::make({}, heard, {.silence = 100ms});
  session->dataTask(*URL::parse("http://a.example/v.mp4"))->resume();
  expect(heard->waitForEnds() && heard->code() == ErrorCode::cannotResolve, heard->error());
  exitQuickly();
}

[[noreturn]] void followFromHttps() {
  const TemporaryDirectory folder;
  const TLSServer server(folder.path());
  expect(enterPrivateNetwork(server.certificate()), "no private network");
  RangeServer plain;
  plain.serve("/v.mp4", "body");
  const auto secure = server.serve("v.mp4", "HTTP/1.1 200 OK\r\n\r\nsecure");
  const auto down = server.serve("down", "HTTP/1.1 302 Found\r\nLocation: " +
                                             plain.url("/v.mp4").absoluteString() + "\r\n\r\n");
  plain.serve("/up", {httpHead("302 Found", "Location: " + down.absoluteString() +
                                                "\r\nContent-Length: 0\r\n")});
  server.start();
  const Download direct(secure);
  expect(direct.wait().empty() && direct.heard->body() == "secure", direct.heard->error());
  for (const auto& url : {down, plain.url("/up")}) {
    const Download lured(url);
    expect(!lured.wait().empty() && lured.heard->body().empty(), "it was followed");
    expect(lured.heard->code() == ErrorCode::untrusted, lured.heard->error());
  }
  exitQuickly();
}

[[noreturn]] void endInADelegate() {
  alarm(20);  // a hang ends the process
  RangeServer server;
  server.serve("/v.mp4", "body");
  const auto ending = std::make_shared<RecordingDelegate>();
  ending->onEnd = [](URLSession&) { exitQuickly(); };
  const auto session = URLSession::make({}, ending);
  session->dataTask(server.url("/v.mp4"))->resume();
  for (;;) pause();
}

[[noreturn]] void endAForkedChild() {
  RangeServer server;
  server.serve("/v.mp4", "body");
  const Download done(server.url("/v.mp4"));
  expect(done.wait().empty(), done.heard->error());
  const auto child = fork();
  if (child == 0) {
    alarm(20);
    done.session->invalidateAndCancel();
    exitQuickly();
  }
  int status = 1;
  expect(waitpid(child, &status, 0) == child && status == 0, "the child hung");
  expect(Download(server.url("/v.mp4")).wait().empty(), "the parent was harmed");
  exitQuickly();
}

class SurroundingsDeathTest : public ::testing::Test {
 protected:
  SurroundingsDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

const auto succeeds = ::testing::ExitedWithCode(0);

TEST_F(SurroundingsDeathTest, LoopbackIsReachedWithoutTheProxy) {
  EXPECT_EXIT(reachLoopback(), succeeds, "");
}

TEST_F(SurroundingsDeathTest, DownloadsStartAgainOnceThereAreDescriptors) {
  if (isAddressSanitized) GTEST_SKIP() << descriptorsNeeded;
  EXPECT_EXIT(runOutOfDescriptors(), succeeds, "");
}

TEST_F(SurroundingsDeathTest, DownloadsStartAgainOnceThereAreThreads) {
  if (isSanitized) GTEST_SKIP() << "a sanitizer takes more address space";
  EXPECT_EXIT(runOutOfThreads(), succeeds, "");
}

TEST_F(SurroundingsDeathTest, DownloadsWaitInLineForConnections) {
  EXPECT_EXIT(downloadMoreThanThereAreDescriptors(), succeeds, "");
}

TEST_F(SurroundingsDeathTest, ADelegateMayEndTheProcess) {
  EXPECT_EXIT(endInADelegate(), succeeds, "");
}

TEST_F(SurroundingsDeathTest, AForkedChildEndsAfterADownload) {
  if (isAddressSanitized) GTEST_SKIP() << forkedBesideThreads;
  EXPECT_EXIT(endAForkedChild(), succeeds, "");
}

TEST_F(SurroundingsDeathTest, NobodyWaitsForASilentNameServer) {
  if (!canEnterPrivateNetwork()) GTEST_SKIP() << "no namespaces of its own are permitted";
  EXPECT_EXIT(askSilentNameServer(), succeeds, "");
}

TEST_F(SurroundingsDeathTest, HttpsLeadsToHttpsAlone) {
  if (!canEnterPrivateNetwork()) GTEST_SKIP() << "no namespaces of its own are permitted";
  EXPECT_EXIT(followFromHttps(), succeeds, "");
}

}  // namespace
}  // namespace tavrin::testing
