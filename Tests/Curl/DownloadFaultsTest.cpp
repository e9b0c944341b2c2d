#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "Platform/Curl/CurlSession.hpp"
#include "Tests/Net/RecordingDelegate.hpp"
#include "Tests/Support/Bytes.hpp"
#include "Tests/Support/RangeServer.hpp"

namespace tavrin::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

URLSessionConfiguration uncached() {
  return {URLSessionConfiguration::RequestCachePolicy::reloadIgnoringLocalAndRemoteCacheData};
}

class DownloadFaults : public ::testing::Test {
 protected:
  // Downloads the address to its end, with a delegate of its own.
  void download(const URL& url, curl::TransferLimits limits = {}) {
    heard_ = std::make_shared<RecordingDelegate>();
    heard_->onChunk = onChunk_;
    const auto session = curl::CurlSession::make(uncached(), heard_, limits);
    session->dataTask(url)->resume();
    ASSERT_TRUE(heard_->waitForEnds());
    session->invalidateAndCancel();
    EXPECT_THAT(heard_->misconduct(), IsEmpty());
    EXPECT_EQ(heard_->countEnds(), 1u);
    EXPECT_LE(heard_->countResponses(), 1u);
  }

  void download(const std::string& behaviour) {
    server_.serve("/v.mp4", body_, behaviour);
    download(server_.url("/v.mp4"));
  }

  void expectWhole(std::int64_t length) {
    EXPECT_THAT(heard_->error(), IsEmpty());
    EXPECT_TRUE(heard_->body() == body_);
    EXPECT_EQ(heard_->response().expectedContentLength, length);
    EXPECT_EQ(heard_->response().mimeType, "video/mp4");
  }

  void expectNothingButError(const std::string& text) {
    EXPECT_THAT(heard_->error(), HasSubstr(text));
    EXPECT_EQ(heard_->countResponses(), 0u);
    EXPECT_THAT(heard_->body(), IsEmpty());
  }

  RangeServer server_;
  std::shared_ptr<RecordingDelegate> heard_;
  RecordingDelegate::ChunkHook onChunk_;
  const std::int64_t length_ = 300'001;
  const std::string body_ = makeBody(length_);
};

TEST_F(DownloadFaults, WholeBodyByOnePlainGet) {
  download("plain");
  expectWhole(length_);
  const auto requests = server_.requests();
  ASSERT_EQ(requests.size(), 1u);
  EXPECT_EQ(requests[0].method, "GET");
  EXPECT_FALSE(requests[0].header("Range"));
  EXPECT_EQ(requests[0].header("Accept-Encoding"), "identity");
  EXPECT_EQ(requests[0].header("Cache-Control"), "no-cache");
}

// A trailer is no response, and a length that no number holds is no length.
TEST_F(DownloadFaults, BodyOfUnknownLengthIsWhole) {
  for (const auto* behaviour : {"chunked", "until close", "overflowing length"}) {
    SCOPED_TRACE(behaviour);
    download(behaviour);
    expectWhole(-1);
  }
}

TEST_F(DownloadFaults, WhatIsNoBodyEndsInAnErrorAlone) {
  const std::pair<const char*, const char*> errors[] = {
      {"not found", "HTTP status 404"},    {"server error", "HTTP status 500"},
      {"unasked part", "HTTP status 206"}, {"gzip", "gzip"},
      {"negative length", "malformed"},    {"redirect to file", "protocol"}};
  for (const auto& [behaviour, error] : errors) {
    SCOPED_TRACE(behaviour);
    download(behaviour);
    expectNothingButError(error);
  }
  const auto before = server_.requests().size();
  download("redirect loop");
  expectNothingButError("redirected too often");
  EXPECT_EQ(server_.requests().size() - before, 21u);
}

TEST_F(DownloadFaults, BodyThatEndsEarlyIsAnErrorAfterItsBytes) {
  const std::pair<const char*, const char*> errors[] = {{"empty", "without a single byte"},
                                                        {"no content", "without a single byte"},
                                                        {"hostile length", "ended early"},
                                                        {"short body", "the body ended early"},
                                                        {"reset mid-body", "reset"}};
  for (const auto& [behaviour, error] : errors) {
    download(behaviour);
    EXPECT_THAT(heard_->error(), HasSubstr(error)) << behaviour;
  }
  EXPECT_THAT(heard_->error(), HasSubstr("the connection was lost"));
  download("short body");
  EXPECT_TRUE(heard_->body() == body_.substr(0, body_.size() / 2));
  download("hostile length");
  EXPECT_EQ(heard_->response().expectedContentLength, std::int64_t{1} << 62);
}

TEST_F(DownloadFaults, ChunkedBodyWithoutItsLastChunk) {
  server_.serve("/v.mp4", {httpHead("200 OK", "Transfer-Encoding: chunked\r\n"),
                           HTTPStep::send("5\r\nabcde\r\n"), HTTPStep::close()});
  download(server_.url("/v.mp4"));
  EXPECT_THAT(heard_->error(), HasSubstr("ended early"));
}

TEST_F(DownloadFaults, MimeTypeStandsWithoutItsParameters) {
  download("html page");
  EXPECT_THAT(heard_->error(), IsEmpty());
  EXPECT_EQ(heard_->response().mimeType, "text/html");
}

TEST_F(DownloadFaults, MissingTypeIsAbsent) {
  server_.serve("/v.mp4", {httpHead("200 OK", "Content-Length: 1\r\n"), HTTPStep::send("x")});
  download(server_.url("/v.mp4"));
  EXPECT_EQ(heard_->response().mimeType, std::nullopt);
  EXPECT_EQ(heard_->body(), "x");
}

TEST_F(DownloadFaults, RedirectIsFollowedAndOnlyItsTargetIsTheResponse) {
  download("redirect");
  expectWhole(length_);
  EXPECT_EQ(server_.requests().size(), 2u);
}

TEST_F(DownloadFaults, RedirectToNowhereIsNoBody) {
  for (const std::string page : {"", "page"}) {
    const auto length = "Content-Length: " + std::to_string(page.size()) + "\r\n";
    server_.serve("/v.mp4", {httpHead("302 Found", length), HTTPStep::send(page)});
    download(server_.url("/v.mp4"));
    expectNothingButError("HTTP status 302");
  }
}

TEST_F(DownloadFaults, InformationalAnswersAreNoResponses) {
  server_.serve("/v.mp4", {httpHead("103 Early Hints", "Content-Type: text/plain\r\n"),
                           httpHead("200 OK", "Content-Type: video/mp4\r\nContent-Length: 2\r\n"),
                           HTTPStep::send("ab")});
  download(server_.url("/v.mp4"));
  EXPECT_EQ(heard_->response().mimeType, "video/mp4");
  EXPECT_EQ(heard_->body(), "ab");
}

TEST_F(DownloadFaults, SilenceEndsATransferBeforeTheAnswerAndInTheBody) {
  for (const std::string behaviour : {"silence", "stall"}) {
    server_.serve("/v.mp4", body_, behaviour);
    download(server_.url("/v.mp4"), {.silence = std::chrono::milliseconds(200)});
    EXPECT_THAT(heard_->error(), HasSubstr("timed out")) << behaviour;
    EXPECT_THAT(heard_->error(), HasSubstr("200 ms")) << behaviour;
  }
}

TEST_F(DownloadFaults, StallThatEndsInTimeIsNoError) {
  onChunk_ = [this](URLSession&) { server_.release("/v.mp4"); };
  download("stall");
  expectWhole(length_);
}

TEST_F(DownloadFaults, ServerThatHangsUpOrCannotBeReached) {
  server_.serve("/v.mp4", {HTTPStep::close()});
  download(server_.url("/v.mp4"));
  expectNothingButError("without an answer");

  std::optional<URL> closed;
  {
    const RangeServer gone;
    closed = gone.url("/v.mp4");
  }
  download(*closed);
  expectNothingButError("cannot be reached");
}

TEST_F(DownloadFaults, OtherSchemesAndNone) {
  download(*URL::parse("file:///etc/hostname"));
  expectNothingButError("\"file\"");

  download(*URL::parse("127.0.0.1:" + std::to_string(server_.port()) + "/v.mp4"));
  expectNothingButError("scheme");
  EXPECT_THAT(server_.requests(), IsEmpty());
}

TEST_F(DownloadFaults, SchemeInCapitalsAndRawTextInTheAddress) {
  server_.serve("/na\xc3\xafve[1]|.mp4", body_);
  const auto port = std::to_string(server_.port());
  download(*URL::parse("HTTP://127.0.0.1:" + port + "/na\xc3\xafve[1]|.mp4?a=[|]#part"));
  expectWhole(length_);
}

}  // namespace
}  // namespace tavrin::testing
