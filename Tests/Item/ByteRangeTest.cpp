// What plays a video reads it by byte ranges: from a download, from memory, from a file or as a
// stream.
#include <filesystem>
#include <random>

#include "Tavrin/Foundation/FileManager.hpp"
#include "Tavrin/Media/Internal/ByteWindows.hpp"
#include "Tavrin/Testing/RangeServer.hpp"
#include "Tavrin/Testing/TemporaryDirectory.hpp"
#include "Tests/Item/ItemSupport.hpp"

namespace tavrin::testing {
namespace {

constexpr auto window = ByteWindows::windowLength;
// Neither a multiple of a window nor of anything that is read at a time.
constexpr std::int64_t length = 2 * window + 4321;

std::int64_t readOne(AssetByteReader& reader) {
  std::byte one{};
  return reader.read({&one, 1});
}

constexpr const char* inMemory = "in memory";
constexpr const char* inAFile = "in a file";
constexpr std::string_view streamed = "streamed, ";

// Readers are used beside the main queue. The parameter is how the server behaves, or where the
// bytes are without one. Behind `streamed` the server's video is streamed past the cache.
class ByteRangeTest : public ::testing::TestWithParam<const char*> {
 protected:
  ByteRangeTest() {
    if (isServed()) server.serve("/clip.mp4", body, behaviour());
    if (isStreamed()) {
      item = AVPlayerItem::make(server.url("/clip.mp4"));
    } else if (isServed()) {
      item = CachingPlayerItem::make(server.url("/clip.mp4"));
    } else {
      const auto bytes = GetParam() == inMemory ? Data(body) : writeAndOpen();
      item = CachingPlayerItem::make(bytes, "video/mp4", "clip.mp4");
    }
  }
  ~ByteRangeTest() override { EXPECT_TRUE(isStreamed() || server.requests().size() <= 1u); }

  // A new reader at offset 0. Its first request starts the download.
  std::shared_ptr<AssetByteReader> makeReader() const {
    return AssetByteReader::make(item->asset());
  }
  static bool isServed() { return GetParam() != inMemory && GetParam() != inAFile; }
  static bool isStreamed() { return std::string_view(GetParam()).starts_with(streamed); }
  static std::string_view behaviour() {
    return std::string_view(GetParam()).substr(isStreamed() ? streamed.size() : 0);
  }
  static bool declaresLength() { return !isServed() || behaviour() == "plain"; }

  std::filesystem::path path() const { return folder.path() / "clip.mp4"; }
  Data writeAndOpen() const {
    EXPECT_EQ(FileManager::write(Data(body), folder.path(), "clip.mp4"), std::nullopt);
    return FileManager::open(path()).value();
  }

  const std::string body = makeBody(length);
  const TemporaryDirectory folder;
  RangeServer server;
  std::shared_ptr<AVPlayerItem> item;
};

TEST_P(ByteRangeTest, ReadsFromTheStartToTheEndAndStaysThere) {
  const auto reader = makeReader();
  runBesideMainQueue([&] {
    EXPECT_TRUE(readToEnd(*reader, 100'003) == body);
    EXPECT_EQ(readOne(*reader), 0);
    EXPECT_EQ(reader->read({}), 0);
    EXPECT_EQ(reader->size(), length) << "known at the end, declared or not";
    EXPECT_FALSE(reader->hasFailed());
  });
}

TEST_P(ByteRangeTest, ReadsAnyRangeInAnyOrder) {
  const auto reader = makeReader();
  std::mt19937_64 random(7);
  runBesideMainQueue([&] {
    for (int i = 0; i < 150; ++i) {
      // Far jumps, and short ones around where the reader is or where a window ends.
      const auto near = i % 3 == 0 ? window : length / 2;
      const auto offset = i % 2 == 0 ? static_cast<std::int64_t>(random() % length)
                                     : near - 300 + static_cast<std::int64_t>(random() % 600);
      const auto count = static_cast<std::size_t>(1 + random() % 70'000);
      ASSERT_TRUE(reader->seek(offset));
      ASSERT_TRUE(readBytes(*reader, count) == body.substr(static_cast<std::size_t>(offset), count))
          << offset << " + " << count;
    }
  });
}

// The way of a container whose index comes last.
TEST_P(ByteRangeTest, TellsTheLengthFirstAndReadsTheTailBeforeTheStart) {
  const auto reader = makeReader();
  runBesideMainQueue([&] {
    const auto size = reader->size();
    EXPECT_TRUE(size == length || (!size && !declaresLength()));
    ASSERT_TRUE(reader->seek(length - 100));
    EXPECT_EQ(readToEnd(*reader), body.substr(body.size() - 100));
    ASSERT_TRUE(reader->seek(0));
    EXPECT_TRUE(readToEnd(*reader) == body);
  });
}

TEST_P(ByteRangeTest, EndsAtItsEndAndGoesNoFurther) {
  const auto reader = makeReader();
  runBesideMainQueue([&] {
    EXPECT_FALSE(reader->seek(-1));
    ASSERT_TRUE(reader->seek(length));
    EXPECT_EQ(readOne(*reader), 0);
    EXPECT_FALSE(reader->seek(length + 1));
    EXPECT_EQ(readOne(*reader), 0) << "the position is unchanged";
    ASSERT_TRUE(reader->seek(length - 1));
    EXPECT_EQ(readOne(*reader), 1);
    EXPECT_EQ(readOne(*reader), 0);
  });
}

TEST_P(ByteRangeTest, ServesManyReadersAtOnce) {
  runBesideMainQueue([&] {
    std::vector<std::thread> threads;
    for (std::int64_t start = 0; start < 3; ++start) {
      threads.emplace_back([&, start] {
        const auto reader = makeReader();
        EXPECT_TRUE(reader->seek(start * window));
        EXPECT_TRUE(readToEnd(*reader) == body.substr(static_cast<std::size_t>(start * window)));
      });
    }
    for (auto& thread : threads) thread.join();
  });
}

TEST_P(ByteRangeTest, FailsAfterACancel) {
  const auto reader = makeReader();
  runBesideMainQueue([&] {
    EXPECT_EQ(readOne(*reader), 1);
    reader->cancel();
    reader->cancel();
    EXPECT_EQ(readOne(*reader), -1);
    EXPECT_EQ(reader->size(), std::nullopt);
    EXPECT_FALSE(reader->seek(0));
    EXPECT_FALSE(reader->hasFailed());
  });
}

INSTANTIATE_TEST_SUITE_P(, ByteRangeTest,
                         ::testing::Values(inMemory, inAFile, "plain", "chunked", "until close",
                                           "streamed, plain", "streamed, chunked",
                                           "streamed, until close"),
                         testName);

class FileRangeTest : public ByteRangeTest {};

TEST_P(FileRangeTest, PlaysOnWhenTheFileIsReplacedOrDeleted) {
  const auto reader = makeReader();
  ASSERT_EQ(FileManager::write(Data("other"), folder.path(), "clip.mp4"), std::nullopt);
  runBesideMainQueue([&] { EXPECT_TRUE(readToEnd(*reader) == body); });
  std::filesystem::remove(path());
  const auto later = makeReader();
  runBesideMainQueue([&] { EXPECT_TRUE(readToEnd(*later) == body); });
}

TEST_P(FileRangeTest, FailsWhereTheFileHasBecomeShorterAndSaysSo) {
  const auto reader = makeReader();
  runBesideMainQueue([&] {
    EXPECT_EQ(readOne(*reader), 1);
    std::filesystem::resize_file(path(), length / 2);
    ASSERT_TRUE(reader->seek(length / 2 - 10));
    EXPECT_EQ(readBytes(*reader, 10), body.substr(length / 2 - 10, 10));
    EXPECT_EQ(readOne(*reader), -1);
    EXPECT_EQ(readOne(*reader), -1);
    EXPECT_EQ(reader->failure()->code, ErrorCode::cutShort);
    ASSERT_TRUE(reader->seek(0)) << "what is there can be read on";
    EXPECT_EQ(readBytes(*reader, 10), body.substr(0, 10));
  });
}

INSTANTIATE_TEST_SUITE_P(, FileRangeTest, ::testing::Values(inAFile), testName);

}  // namespace
}  // namespace tavrin::testing
