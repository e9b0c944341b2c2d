// A stream past the cache gives the right bytes or fails clearly, whatever its server does.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <functional>
#include <future>
#include <sstream>

#include "Tavrin/Media/Internal/StreamBuffer.hpp"
#include "Tavrin/Testing/LinkSimulator.hpp"
#include "Tavrin/Testing/RangeServer.hpp"
#include "Tests/Item/ItemSupport.hpp"

namespace tavrin::testing {
namespace {

constexpr std::int64_t length = 3'000'000;

/// An answer to a request for the bytes from an offset on.
struct Part {
  std::int64_t from = 0;
  std::int64_t to = length;
  std::int64_t declaredFrom = from;
  std::int64_t declaredTo = to;
  std::string total = std::to_string(length);
  std::string lines = "ETag: \"one\"\r\n";

  HTTPScript script(const SharedBytes& body, HTTPStep last) const {
    std::ostringstream head;
    head << "Content-Range: bytes " << declaredFrom << '-' << declaredTo - 1 << '/' << total
         << "\r\nContent-Length: " << declaredTo - declaredFrom << "\r\n"
         << lines;
    const auto at = static_cast<std::size_t>(from);
    return {httpHead("206 Partial Content", head.str()),
            HTTPStep::send(body, at, static_cast<std::size_t>(to) - at), std::move(last)};
  }
};

HTTPScript whole(const SharedBytes& body, const std::string& lines) {
  return {httpHead("200 OK", "Content-Length: " + std::to_string(body->size()) + "\r\n" + lines),
          HTTPStep::send(body, 0, body->size()), HTTPStep::close()};
}

class StreamReaderTest : public ::testing::Test {
 protected:
  using Answer = std::function<HTTPScript(std::int64_t firstByte, int number)>;

  // Serves by the request's first byte and its number, from 1.
  void serve(Answer answer) {
    server.serve("/clip.mp4", HTTPResource{body, "video/mp4"},
                 [answer = std::move(answer), count = std::make_shared<int>(0)](
                     const HTTPRequest& request, const auto&) {
                   const auto range = request.header("Range").value_or("bytes=0-");
                   return answer(std::stoll(range.substr(6)), ++*count);
                 });
    reader = open(server.url("/clip.mp4"));
  }
  static std::shared_ptr<AssetByteReader> open(const URL& url) {
    return AssetByteReader::make(AVPlayerItem::make(url)->asset());
  }
  ::testing::AssertionResult readsEverything() {
    if (readToEnd(*reader) == *body) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << reader->failure().value_or(Error("other")).description;
  }
  ErrorCode failure() {
    EXPECT_EQ(readToEnd(*reader), std::nullopt);
    return reader->failure().value_or(Error("none")).code;
  }

  const SharedBytes body = shareBytes(makeBody(length));
  RangeServer server;
  std::shared_ptr<AssetByteReader> reader;
};

TEST_F(StreamReaderTest, AsksByTheSessionOfDownloadsAndOnceForAWholePlay) {
  server.serve("/clip.mp4", HTTPResource{body}, "plain");
  reader = open(*URL::parse("HTTP" + server.url("/clip.mp4").absoluteString().substr(4)));
  EXPECT_EQ(reader->size(), length);
  EXPECT_TRUE(readsEverything());
  ASSERT_EQ(server.requests().size(), 1u);
  EXPECT_EQ(server.requests()[0].header("Range"), "bytes=0-");
  EXPECT_EQ(server.requests()[0].header("Accept-Encoding"), "identity");
}

TEST_F(StreamReaderTest, TellsThatAPageCameInThePlaceOfTheVideo) {
  server.serve("/clip.mp4", {shareBytes("Log in first"), "text/html"}, "html page");
  const auto isVideo = [](const URLResponse& response) { return response.mimeType == "video/mp4"; };
  reader = AssetByteReader::make(AVPlayerItem::make(server.url("/clip.mp4"), isVideo)->asset());
  EXPECT_EQ(failure(), ErrorCode::notAccepted);
  EXPECT_EQ(reader->failure()->description,
            "The server answered with text/html in the place of a video");
  server.serve("/clip.mp4", HTTPResource{body}, "plain");
  reader = AssetByteReader::make(AVPlayerItem::make(server.url("/clip.mp4"), isVideo)->asset());
  EXPECT_TRUE(readsEverything());
}

TEST_F(StreamReaderTest, ASeekOverASlowLinkReadsOnlyWhatIsWanted) {
  constexpr std::int64_t large = 40'000'000;
  const auto film = makeBody(large);
  server.serve("/film.mp4", film, "plain");
  LinkSimulator link(server.port(), {.bytesPerSecond = 2'000'000});
  reader = open(link.url("/film.mp4"));
  EXPECT_EQ(reader->size(), large);
  for (const auto offset : {large / 2, large - 1000, std::int64_t{0}}) {
    ASSERT_TRUE(reader->seek(offset));
    EXPECT_EQ(readBytes(*reader, 1000), film.substr(static_cast<std::size_t>(offset), 1000));
  }
  EXPECT_LT(link.deliveredBytes(), 2'000'000);
  EXPECT_EQ(server.requests().size(), 4u);
}

TEST_F(StreamReaderTest, HoldsNoMoreThanItsLookAhead) {
  constexpr std::int64_t large = 8 * StreamBuffer::lookAhead;
  server.serve("/film.mp4", std::string(large, 'f'), "plain");
  LinkSimulator held(server.port(), {.bytesPerSecond = 500'000'000});
  LinkSimulator read(server.port(), {.bytesPerSecond = 200'000'000});
  reader = open(held.url("/film.mp4"));
  EXPECT_EQ(readBytes(*reader, 1).size(), 1u);
  EXPECT_EQ(readToEnd(*open(read.url("/film.mp4")))->size(), static_cast<std::size_t>(large));
  // What sockets hold besides.
  EXPECT_LT(held.deliveredBytes(), 3 * StreamBuffer::lookAhead);
  EXPECT_EQ(readToEnd(*reader)->size(), static_cast<std::size_t>(large - 1));
}

TEST_F(StreamReaderTest, GoesOnWhereAConnectionBreaksOrAPartEnds) {
  serve([this](std::int64_t first, int number) {
    if (number % 2 == 0) return Part{.from = first}.script(body, HTTPStep::pause());
    const auto to = std::min(first + 700'000, length);
    return Part{.from = first, .to = to, .declaredTo = length}.script(body, HTTPStep::close());
  });
  EXPECT_TRUE(readsEverything());
  EXPECT_EQ(server.requests()[1].header("If-Range"), "\"one\"");

  serve([this](std::int64_t first, int) {
    return Part{.from = first, .to = std::min(first + 700'000, length)}.script(body,
                                                                               HTTPStep::close());
  });
  EXPECT_TRUE(readsEverything());
}

TEST_F(StreamReaderTest, GivesUpOnAServerThatBreaksEveryAnswer) {
  serve([this](std::int64_t first, int) {
    return Part{.from = first, .to = first + 1000, .declaredTo = length}.script(body,
                                                                                HTTPStep::close());
  });
  EXPECT_EQ(failure(), ErrorCode::cutShort);
  EXPECT_EQ(server.requests().size(), 6u);
}

TEST_F(StreamReaderTest, ReadsTheWholeAgainWhereAServerStopsTakingRanges) {
  serve([this](std::int64_t first, int number) {
    if (number > 1) return whole(body, "ETag: \"one\"\r\n");
    return Part{.from = first, .to = 700'000, .declaredTo = length}.script(body, HTTPStep::close());
  });
  EXPECT_TRUE(readsEverything());
}

TEST_F(StreamReaderTest, NeverMixesTheBytesOfTwoResources) {
  const auto other = shareBytes(std::string(length, 'o'));
  const Answer second[] = {
      [&](std::int64_t first, int) {
        return Part{.from = first, .lines = "ETag: \"two\"\r\n"}.script(other, HTTPStep::close());
      },
      [&](std::int64_t first, int) {
        return Part{.from = first, .total = std::to_string(length + 1), .lines = ""}.script(
            other, HTTPStep::close());
      },
      [&](std::int64_t, int) { return whole(other, "ETag: \"two\"\r\n"); },
      [&](std::int64_t, int) { return whole(shareBytes(std::string(100, 'o')), ""); },
  };
  for (const auto& answer : second) {
    serve([this, &answer](std::int64_t first, int number) {
      if (number > 1) return answer(first, number);
      return Part{.to = 700'000, .declaredTo = length}.script(body, HTTPStep::close());
    });
    EXPECT_TRUE(readBytes(*reader, length) == body->substr(0, 700'000));
    EXPECT_EQ(reader->failure().value().code, ErrorCode::badAnswer);
  }
}

TEST_F(StreamReaderTest, FailsForAnswersThatContradictTheRequest) {
  const Part wrong[] = {
      {.from = 5, .to = 100, .declaredFrom = 5},
      {.to = 100, .declaredTo = 100, .total = "50"},
      {.to = 100, .declaredTo = 100, .total = "*"},
      {.to = 100, .declaredTo = 100, .total = "x"},
      {.to = 100, .declaredTo = 100, .lines = "Content-Range: bytes 0-9/10\r\n"},
  };
  for (const auto& part : wrong) {
    serve([&](std::int64_t, int) { return part.script(body, HTTPStep::close()); });
    EXPECT_EQ(failure(), ErrorCode::badAnswer) << part.total << part.lines;
  }
  serve([&](std::int64_t, int) -> HTTPScript {
    return {httpHead("206 Partial Content",
                     "Content-Range: bytes 0-9/100\r\nTransfer-Encoding: chunked\r\n"),
            HTTPStep::send("b\r\n01234567890\r\n0\r\n\r\n")};
  });
  EXPECT_EQ(failure(), ErrorCode::badAnswer);
}

TEST_F(StreamReaderTest, NamesTheCausesThatADownloadNames) {
  serve([](std::int64_t, int) -> HTTPScript { return {httpHead("204 No Content", "")}; });
  EXPECT_EQ(failure(), ErrorCode::cutShort);
  serve([](std::int64_t, int) -> HTTPScript {
    return {httpHead("416 Range Not Satisfiable", "Content-Length: 0\r\n")};
  });
  EXPECT_EQ(failure(), ErrorCode::httpStatus);
  EXPECT_EQ(reader->failure()->httpStatus, 416);
  reader = open(*URL::parse("http://127.0.0.1:1/clip.mp4"));
  EXPECT_EQ(failure(), ErrorCode::cannotConnect);
}

TEST_F(StreamReaderTest, WakesAtOnceWhenItIsCancelledAndLetsGoOfTheServer) {
  for (const auto* behaviour : {"silence", "stall"}) {
    server.serve("/clip.mp4", HTTPResource{body}, behaviour);
    reader = open(server.url("/clip.mp4"));
    auto result = std::async(std::launch::async, [this] { return readToEnd(*reader); });
    ASSERT_TRUE(
        server.waitForPauses("/clip.mp4", behaviour == std::string_view("silence") ? 1 : 2));
    reader->cancel();
    EXPECT_EQ(result.get(), std::nullopt);
    EXPECT_FALSE(reader->hasFailed());
    EXPECT_TRUE(server.waitForConnections(0));
  }
}

}  // namespace
}  // namespace tavrin::testing
