#include <gtest/gtest.h>

#include <string>

#include "Platform/FFmpeg/PNGScan.hpp"

namespace tavrin {
namespace {

const std::string signature("\x89PNG\r\n\x1a\n", 8);

std::string chunk(const std::string& type, std::uint32_t claimed, const std::string& contents) {
  std::string length;
  for (const int shift : {24, 16, 8, 0}) length.push_back(static_cast<char>(claimed >> shift));
  return length + type + contents + "sum.";
}

TEST(PNGScanTest, FindsTheAnimationAndTheEnd) {
  const auto still = signature + chunk("IHDR", 3, "abc") + chunk("IEND", 0, "");
  auto scan = PNGScan::of(Data(still));
  EXPECT_TRUE(scan.isPNG);
  EXPECT_FALSE(scan.isAnimated);
  EXPECT_EQ(scan.wholeBytes, std::ssize(still));

  const auto animation = signature + chunk("IHDR", 3, "abc") + chunk("acTL", 1, "1");
  EXPECT_TRUE(PNGScan::of(Data(animation)).isAnimated);

  for (const std::string& text : {std::string(), std::string("\x89PNG"), std::string("GIF89a")}) {
    EXPECT_FALSE(PNGScan::of(Data(text)).isPNG);
  }
  EXPECT_EQ(PNGScan::of(Data(signature)).wholeBytes, 8);
}

// Such a chunk made the demuxer allocate 1.7 GB for a file of 263 bytes.
TEST(PNGScanTest, EndsBeforeAChunkThatClaimsMoreThanThereIs) {
  const auto whole = signature + chunk("IHDR", 3, "abc");
  for (const std::uint32_t claimed : {4U, 0x6572726FU, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    const auto scan = PNGScan::of(Data(whole + chunk("Yerr", claimed, "abc")));
    EXPECT_EQ(scan.wholeBytes, std::ssize(whole)) << claimed;
  }
  EXPECT_EQ(PNGScan::of(Data(whole + "\0\0")).wholeBytes, std::ssize(whole));
}

}  // namespace
}  // namespace tavrin
