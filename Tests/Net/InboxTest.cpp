#include <gtest/gtest.h>

#include <string>

#include "Platform/Curl/Inbox.hpp"

namespace tavrin::curl {
namespace {

std::span<const std::byte> bytesOf(const std::string& text) {
  return std::as_bytes(std::span(text));
}

const std::string piece(16'384, 'p');

TEST(Inbox, HoldsNoMoreThanItsCapacityWithWhatIsBeingHeard) {
  Inbox inbox(std::int64_t{256} * 1024);
  std::int64_t accepted = 0;
  while (inbox.put(bytesOf(piece))) accepted += std::ssize(piece);
  EXPECT_EQ(accepted, 256 * 1024);

  const auto taken = inbox.take();
  ASSERT_TRUE(taken);
  EXPECT_EQ(std::get<Data>(*taken).count(), 32 * 1024) << "pieces are joined";
  EXPECT_FALSE(inbox.put(bytesOf(piece))) << "a chunk counts until it has been dealt with";
}

TEST(Inbox, AsksForRefusedBytesOnceWhenHalfIsFree) {
  Inbox inbox(std::int64_t{256} * 1024);
  while (inbox.put(bytesOf(piece))) {
  }
  inbox.take();
  for (const int freed : {32, 64, 96}) {
    EXPECT_FALSE(inbox.finish().wantsRefused) << freed << " KiB";
    inbox.take();
  }
  EXPECT_TRUE(inbox.finish().wantsRefused);
  inbox.take();
  EXPECT_FALSE(inbox.finish().wantsRefused) << "it has asked already";
}

TEST(Inbox, PieceLargerThanTheCapacityPassesAlone) {
  Inbox inbox(1000);
  EXPECT_TRUE(inbox.put(bytesOf(piece)));
  EXPECT_FALSE(inbox.put(bytesOf(piece)));
  inbox.take();
  EXPECT_TRUE(inbox.finish().wantsRefused);
  EXPECT_TRUE(inbox.put(bytesOf(piece)));
}

TEST(Inbox, WakesASleepingTakerOnly) {
  Inbox inbox(1000);
  EXPECT_TRUE(inbox.put(URLResponse{}));
  EXPECT_EQ(inbox.put(bytesOf("a")), false) << "awake already";
  EXPECT_TRUE(std::holds_alternative<URLResponse>(*inbox.take()));
  EXPECT_TRUE(inbox.finish().hasMore);
  EXPECT_TRUE(std::holds_alternative<Data>(*inbox.take()));
  EXPECT_EQ(inbox.put(bytesOf("b")), false) << "awake while it deals with the last";
  EXPECT_TRUE(inbox.finish().hasMore);
  inbox.take();
  EXPECT_FALSE(inbox.finish().hasMore);
  EXPECT_TRUE(inbox.put(Inbox::End{})) << "asleep since it was told that there is no more";
}

TEST(Inbox, DroppedForgetsEverythingAndStaysSilent) {
  Inbox inbox(1000);
  inbox.put(bytesOf("abc"));
  inbox.drop();
  EXPECT_EQ(inbox.put(bytesOf(piece)), false) << "taken in and forgotten, not refused";
  EXPECT_FALSE(inbox.put(Inbox::End{}));
  EXPECT_FALSE(inbox.take());
}

}  // namespace
}  // namespace tavrin::curl
