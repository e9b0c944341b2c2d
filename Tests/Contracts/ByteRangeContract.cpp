#include "Tests/Contracts/ByteRangeContract.hpp"

#include <random>

#include "Platform/Media/ByteWindows.hpp"
#include "Tests/Item/ItemSupport.hpp"

namespace tavrin::testing {
namespace {

constexpr auto window = ByteWindows::windowLength;
// Neither a multiple of a window nor of anything that a source reads at a time.
constexpr std::int64_t length = 2 * window + 4321;

std::int64_t readOne(AssetByteReader& reader) {
  std::byte one{};
  return reader.read({&one, 1});
}

TEST_P(ByteRangeContract, ReadsFromTheStartToTheEndAndStaysThere) {
  const auto body = makeBody(length);
  const auto source = GetParam().make(body);
  const auto reader = source->makeReader();
  runBesideMainQueue([&] {
    EXPECT_TRUE(readToEnd(*reader, 100'003) == body);
    EXPECT_EQ(readOne(*reader), 0);
    EXPECT_EQ(reader->read({}), 0);
    EXPECT_EQ(reader->size(), length) << "known at the end, declared or not";
    EXPECT_FALSE(reader->hasFailed());
  });
}

TEST_P(ByteRangeContract, TellsTheLengthBeforeTheFirstRead) {
  const auto source = GetParam().make(makeBody(length));
  const auto reader = source->makeReader();
  runBesideMainQueue([&] {
    const auto size = reader->size();
    if (GetParam().declaresLength) {
      EXPECT_EQ(size, length);
    } else {
      EXPECT_TRUE(!size || *size == length);
    }
  });
}

TEST_P(ByteRangeContract, ReadsAnyRangeInAnyOrder) {
  const auto body = makeBody(length);
  const auto source = GetParam().make(body);
  const auto reader = source->makeReader();
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
TEST_P(ByteRangeContract, ReadsTheTailFirst) {
  const auto body = makeBody(length);
  const auto source = GetParam().make(body);
  const auto reader = source->makeReader();
  runBesideMainQueue([&] {
    ASSERT_TRUE(reader->seek(length - 100));
    EXPECT_EQ(readToEnd(*reader), body.substr(body.size() - 100));
    ASSERT_TRUE(reader->seek(0));
    EXPECT_TRUE(readToEnd(*reader) == body);
  });
}

TEST_P(ByteRangeContract, EndsAtItsEndAndGoesNoFurther) {
  const auto source = GetParam().make(makeBody(length));
  const auto reader = source->makeReader();
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

TEST_P(ByteRangeContract, ServesManyReadersAtOnce) {
  const auto body = makeBody(length);
  const auto source = GetParam().make(body);
  runBesideMainQueue([&] {
    std::vector<std::thread> threads;
    for (std::int64_t start = 0; start < 3; ++start) {
      threads.emplace_back([&, start] {
        const auto reader = source->makeReader();
        EXPECT_TRUE(reader->seek(start * window));
        EXPECT_TRUE(readToEnd(*reader) == body.substr(static_cast<std::size_t>(start * window)));
      });
    }
    for (auto& thread : threads) thread.join();
  });
}

TEST_P(ByteRangeContract, FailsAfterACancel) {
  const auto source = GetParam().make(makeBody(length));
  const auto reader = source->makeReader();
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

}  // namespace
}  // namespace tavrin::testing
