#include <gtest/gtest.h>

#include "Tavrin/Mpv/Internal/Decoding.hpp"

namespace tavrin {
namespace {

TrackFacts track(std::int64_t width, std::int64_t height, double rate, bool isOfPlainCodec) {
  TrackFacts facts;
  facts.width = width;
  facts.height = height;
  facts.rate = rate;
  facts.isOfPlainCodec = isOfPlainCodec;
  return facts;
}

TEST(DecodingTest, WhatOneThreadCanDecodeIsDecodedByOneInSoftware) {
  const DecodingMachine machine{16, true};
  for (const auto& easy : {track(1920, 1080, 60, true), track(1920, 1080, 30, false),
                           track(0, 0, 0, false), track(1920, 1080, 0, false)}) {
    EXPECT_EQ(Decoding::of(easy, machine), Decoding());
  }
}

TEST(DecodingTest, LargerClipsAreDecodedByAsManyThreadsAsThereAreCoresAndByHardware) {
  EXPECT_EQ(Decoding::of(track(3840, 2160, 60, false), {2, false}), (Decoding{2, false}));
  EXPECT_EQ(Decoding::of(track(3840, 2160, 60, false), {1, true}), (Decoding{1, true}));
  EXPECT_EQ(Decoding::of(track(3840, 2160, 30, true), {16, false}), (Decoding{2, false}));
  const auto huge = track(1 << 14, 1 << 14, 1e9, false);
  EXPECT_EQ(Decoding::of(huge, {64, false}), (Decoding{Decoding::mostThreads, false}));
}

}  // namespace
}  // namespace tavrin
