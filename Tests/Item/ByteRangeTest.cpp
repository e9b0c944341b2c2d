// What plays a video reads it by byte ranges, from a download or from memory.
#include <random>

#include "Platform/Media/ByteWindows.hpp"
#include "Tests/Item/ItemSupport.hpp"
#include "Tests/Support/RangeServer.hpp"

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

// Readers are used beside the main queue. The parameter is how the server behaves, or `inMemory`.
class ByteRangeTest : public ::testing::TestWithParam<const char*> {
 protected:
  ByteRangeTest() {
    const bool isDownload = GetParam() != inMemory;
    if (isDownload) server.serve("/clip.mp4", body, GetParam());
    item = isDownload ? CachingPlayerItem::make(server.url("/clip.mp4"))
                      : CachingPlayerItem::make(Data(body), "video/mp4", "clip.mp4");
  }
  ~ByteRangeTest() override { EXPECT_LE(server.requests().size(), 1u); }

  // A new reader at offset 0. Its first request starts the download.
  std::shared_ptr<AssetByteReader> makeReader() const {
    return AssetByteReader::make(item->asset());
  }
  static bool declaresLength() {
    return GetParam() == inMemory || GetParam() == std::string_view("plain");
  }

  const std::string body = makeBody(length);
  RangeServer server;
  std::shared_ptr<CachingPlayerItem> item;
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
                         ::testing::Values(inMemory, "plain", "chunked", "until close"), testName);

}  // namespace
}  // namespace tavrin::testing
