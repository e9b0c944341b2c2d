#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Tavrin/Curl/CurlSession.hpp"
#include "Tavrin/Testing/Bytes.hpp"
#include "Tavrin/Testing/RangeServer.hpp"
#include "Tests/Curl/RecordingDelegate.hpp"

namespace tavrin::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Optional;
using ::testing::StartsWith;

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

  void download(const HTTPScript& script) {
    server_.serve("/v.mp4", script);
    download(server_.url("/v.mp4"));
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

  void expectNothingButError(ErrorCode code, const std::string& text) {
    EXPECT_EQ(heard_->code(), code);
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
  EXPECT_THAT(requests[0].header("User-Agent"), Optional(StartsWith("Tavrin/")));
}

// A trailer is no response.
TEST_F(DownloadFaults, BodyOfUnknownLengthIsWhole) {
  for (const auto* behaviour : {"chunked", "until close"}) {
    SCOPED_TRACE(behaviour);
    download(behaviour);
    expectWhole(-1);
  }
}

TEST_F(DownloadFaults, WhatIsNoBodyEndsInAnErrorAlone) {
  using enum ErrorCode;
  struct Row {
    const char* behaviour;
    ErrorCode code;
    const char* text;
  };
  for (const auto& [behaviour, code, text] :
       {Row{"not found", httpStatus, "HTTP status 404"},
        Row{"server error", httpStatus, "HTTP status 500"},
        Row{"unasked part", badAnswer, "HTTP status 206"}, Row{"gzip", notAccepted, "gzip"},
        Row{"negative length", badAnswer, "malformed"},
        Row{"redirect to file", badAddress, "protocol"},
        Row{"overflowing length", tooLarge, "limit"}, Row{"hostile length", tooLarge, "limit"}}) {
    SCOPED_TRACE(behaviour);
    download(behaviour);
    expectNothingButError(code, text);
  }
  const auto before = server_.requests().size();
  download("redirect loop");
  expectNothingButError(badAnswer, "redirected too often");
  EXPECT_EQ(server_.requests().size() - before, 21u);
}

TEST_F(DownloadFaults, HeadThatContradictsTheRequestOrItself) {
  struct Row {
    const char* lines;
    ErrorCode code;
  };
  for (const auto& [lines, code] :
       {Row{"Transfer-Encoding: gzip\r\n", ErrorCode::notAccepted},
        Row{"Transfer-Encoding: gzip, chunked\r\n", ErrorCode::notAccepted},
        Row{"Content-Encoding: identity\r\nContent-Encoding: br\r\n", ErrorCode::notAccepted},
        Row{"Content-Length: 3\r\nContent-Length: 2\r\n", ErrorCode::badAnswer},
        Row{"Content-Length: 1e6\r\n", ErrorCode::badAnswer},
        Row{"Content-Length: 2, 2\r\n", ErrorCode::badAnswer}}) {
    download({httpHead("200 OK", lines), HTTPStep::send("ab"), HTTPStep::close()});
    SCOPED_TRACE(lines);
    expectNothingButError(code, "");
  }
}

TEST_F(DownloadFaults, BodyBeyondTheLimitEndsThere) {
  const curl::TransferLimits limits{.mostBodyBytes = 100'000};
  for (const std::string behaviour : {"chunked", "plain"}) {
    server_.serve("/v.mp4", body_, behaviour);
    download(server_.url("/v.mp4"), limits);
    EXPECT_EQ(heard_->code(), ErrorCode::tooLarge) << behaviour;
    EXPECT_LE(heard_->body().size(), 100'000u) << behaviour;
  }
  EXPECT_EQ(heard_->countResponses(), 0u) << "a declared length is refused at once";
}

// What a server leaves behind an answer is nobody's.
TEST_F(DownloadFaults, NextDownloadGetsItsOwnBody) {
  download({httpHead("200 OK", "Content-Length: 5\r\n"), HTTPStep::send("first"),
            httpHead("200 OK", "Content-Length: 4\r\n"), HTTPStep::send("left")});
  EXPECT_EQ(heard_->body(), "first");
  download("plain");
  expectWhole(length_);
}

TEST_F(DownloadFaults, BodyThatEndsEarlyIsAnErrorAfterItsBytes) {
  const std::pair<const char*, const char*> errors[] = {{"empty", "without a single byte"},
                                                        {"no content", "without a single byte"},
                                                        {"short body", "the body ended early"},
                                                        {"reset mid-body", "reset"}};
  for (const auto& [behaviour, error] : errors) {
    download(behaviour);
    EXPECT_THAT(heard_->error(), HasSubstr(error)) << behaviour;
    EXPECT_EQ(heard_->code(), ErrorCode::cutShort) << behaviour;
  }
  EXPECT_THAT(heard_->error(), HasSubstr("the connection was lost"));
  download("short body");
  EXPECT_TRUE(heard_->body() == body_.substr(0, body_.size() / 2));
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

TEST_F(DownloadFaults, MissingAndEmptyHeadersAreAbsent) {
  for (const std::string lines : {"", "Content-Type:\r\nContent-Encoding:\r\n"}) {
    download({httpHead("200 OK", lines + "Content-Length: 1\r\n"), HTTPStep::send("x")});
    EXPECT_EQ(heard_->response().mimeType, std::nullopt);
    EXPECT_EQ(heard_->body(), "x");
  }
}

TEST_F(DownloadFaults, RedirectIsFollowedAndOnlyItsTargetIsTheResponse) {
  download("redirect");
  expectWhole(length_);
  EXPECT_EQ(server_.requests().size(), 2u);
}

// Nobody reads it, and it need not end.
TEST_F(DownloadFaults, BodyOfARedirectHasALimit) {
  const auto chunk = "10000\r\n" + std::string(0x10000, 'x') + "\r\n";
  const auto length = "Content-Length: " + std::to_string(64L * 0x10000) + "\r\n";
  for (const auto& lines : {length, std::string("Transfer-Encoding: chunked\r\n")}) {
    HTTPScript page{httpHead("302 Found", "Location: /target.mp4\r\n" + lines)};
    for (int i = 0; i < 64; ++i)
      page.push_back(HTTPStep::send(lines == length ? chunk.substr(7, 0x10000) : chunk));
    page.push_back(HTTPStep::pause());
    download(page);
    expectNothingButError(ErrorCode::tooLarge, "the body of a redirect");
  }
}

TEST_F(DownloadFaults, RedirectToNowhereIsNoBody) {
  for (const std::string page : {"", "page"}) {
    const auto length = "Content-Length: " + std::to_string(page.size()) + "\r\n";
    server_.serve("/v.mp4", {httpHead("302 Found", length), HTTPStep::send(page)});
    download(server_.url("/v.mp4"));
    expectNothingButError(ErrorCode::httpStatus, "HTTP status 302");
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
    EXPECT_EQ(heard_->code(), ErrorCode::timedOut) << behaviour;
  }
}

// Each of its lines comes in time, but their end does not.
TEST_F(DownloadFaults, HeadThatTricklesIsNoAnswer) {
  constexpr int lines = 4500;  // curl takes 5000
  HTTPScript trickle{HTTPStep::send("HTTP/1.1 200 OK\r\n")};
  for (int i = 0; i < lines; ++i) {
    trickle.push_back(HTTPStep::pause());
    trickle.push_back(HTTPStep::send("X: 1\r\n"));
  }
  trickle.push_back(HTTPStep::send("\r\n"));
  server_.serve("/v.mp4", trickle);
  std::jthread pump([this](const std::stop_token& stop) {
    for (std::size_t i = 1; !stop.stop_requested() && i <= lines; ++i) {
      server_.waitForPauses("/v.mp4", i);
      server_.release("/v.mp4");
    }
  });
  download(server_.url("/v.mp4"), {.silence = std::chrono::milliseconds(10)});
  expectNothingButError(ErrorCode::timedOut, "no whole head");
  // The pump waits for one more pause.
  pump.request_stop();
  const auto session = URLSession::make(uncached(), heard_);
  session->dataTask(server_.url("/v.mp4"))->resume();
  pump.join();
  session->invalidateAndCancel();
}

TEST_F(DownloadFaults, HeadWithoutEndIsNoAnswer) {
  HTTPScript endless{HTTPStep::send("HTTP/1.1 200 OK\r\n")};
  for (int i = 0; i < 100; ++i) {
    endless.push_back(HTTPStep::send("X-Pad: " + std::string(4096, 'x') + "\r\n"));
  }
  endless.push_back(HTTPStep::pause());
  download(endless);
  expectNothingButError(ErrorCode::badAnswer, "too long");
}

TEST_F(DownloadFaults, StallThatEndsInTimeIsNoError) {
  onChunk_ = [this](URLSession&) { server_.release("/v.mp4"); };
  download("stall");
  expectWhole(length_);
}

TEST_F(DownloadFaults, ServerThatHangsUpOrCannotBeReached) {
  server_.serve("/v.mp4", {HTTPStep::close()});
  download(server_.url("/v.mp4"));
  expectNothingButError(ErrorCode::connectionLost, "without an answer");

  std::optional<URL> closed;
  {
    const RangeServer gone;
    closed = gone.url("/v.mp4");
  }
  download(*closed);
  expectNothingButError(ErrorCode::cannotConnect, "cannot be reached");
}

TEST_F(DownloadFaults, OtherSchemesAndNone) {
  download(*URL::parse("file:///etc/hostname"));
  expectNothingButError(ErrorCode::badAddress, "\"file\"");

  download(*URL::parse("127.0.0.1:" + std::to_string(server_.port()) + "/v.mp4"));
  expectNothingButError(ErrorCode::badAddress, "scheme");
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
