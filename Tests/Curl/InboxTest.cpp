#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "Tavrin/Curl/Inbox.hpp"

namespace tavrin::curl {
namespace {

std::span<const std::byte> bytesOf(const std::string& text) {
  return std::as_bytes(std::span(text));
}

const std::string piece(16'384, 'p');

constexpr std::int64_t kibibyte = 1024;

constexpr TransferLimits small{.queuedBytes = kibibyte, .mostQueuedBytes = kibibyte};

// How many bytes it takes before it is full.
std::int64_t fill(Inbox& inbox) {
  std::int64_t taken = std::ssize(piece);
  while (!inbox.put(bytesOf(piece)).isFull) taken += std::ssize(piece);
  return taken;
}

TEST(Inbox, IsFullUntilHalfOfItHasBeenHeardAndAsksOnce) {
  Inbox inbox({.queuedBytes = 256 * kibibyte, .mostQueuedBytes = 256 * kibibyte});
  EXPECT_EQ(fill(inbox), 256 * kibibyte);

  EXPECT_EQ(std::get<Data>(*inbox.take()).count(), 64 * kibibyte) << "pieces are joined";
  EXPECT_TRUE(inbox.put(bytesOf(piece)).isFull) << "a chunk counts until it has been dealt with";
  EXPECT_FALSE(inbox.finish().wantsMore) << "208 KiB are left";
  inbox.take();
  EXPECT_FALSE(inbox.finish().wantsMore) << "144 KiB are left";
  inbox.take();
  EXPECT_TRUE(inbox.finish().wantsMore);
  inbox.take();
  EXPECT_FALSE(inbox.finish().wantsMore) << "it has asked already";
}

// The capacity after it has been full and heard to the end some times.
std::int64_t settledCapacity(std::chrono::milliseconds promptly) {
  Inbox inbox(
      {.queuedBytes = 64 * kibibyte, .mostQueuedBytes = 256 * kibibyte, .promptly = promptly});
  for (int i = 0; i < 5; ++i) {
    fill(inbox);
    while (inbox.take() != nullptr) inbox.finish();
  }
  return fill(inbox);
}

TEST(Inbox, GrowsForATakerThatKeepsUp) {
  EXPECT_EQ(settledCapacity(std::chrono::hours(1)), 256 * kibibyte);
  EXPECT_EQ(settledCapacity(std::chrono::milliseconds(0)), 64 * kibibyte);
}

TEST(Inbox, ChunkThatItsTakerKeepsIsNotWrittenAgain) {
  Inbox inbox(small);
  inbox.put(bytesOf(piece));
  const auto kept = std::get<Data>(*inbox.take());
  inbox.finish();
  inbox.put(bytesOf(std::string(16'384, 'q')));
  EXPECT_EQ(kept.text(), piece);
}

TEST(Inbox, WakesASleepingTakerOnly) {
  Inbox inbox(small);
  EXPECT_TRUE(inbox.put(URLResponse{}));
  EXPECT_FALSE(inbox.put(bytesOf("a")).mustWake) << "awake already";
  EXPECT_TRUE(std::holds_alternative<URLResponse>(*inbox.take()));
  EXPECT_TRUE(inbox.finish().hasMore);
  EXPECT_TRUE(std::holds_alternative<Data>(*inbox.take()));
  EXPECT_FALSE(inbox.put(bytesOf("b")).mustWake) << "awake while it deals with the last";
  EXPECT_TRUE(inbox.finish().hasMore);
  inbox.take();
  EXPECT_FALSE(inbox.finish().hasMore);
  EXPECT_TRUE(inbox.put(Inbox::End{})) << "asleep since it was told that there is no more";
}

TEST(Inbox, DroppedForgetsEverythingAndStaysSilent) {
  Inbox inbox(small);
  inbox.put(bytesOf("abc"));
  inbox.drop();
  EXPECT_FALSE(inbox.put(bytesOf(piece)).isFull) << "taken in and forgotten";
  EXPECT_FALSE(inbox.put(Inbox::End{}));
  EXPECT_FALSE(inbox.take());
}

}  // namespace
}  // namespace tavrin::curl
