#include <gmock/gmock.h>

#include <array>
#include <cstdlib>
#include <random>
#include <string>

#include "Platform/View/ImageDecoder.hpp"
#include "Tests/Support/GifWriter.hpp"

namespace tavrin {
namespace {

using std::chrono::milliseconds;
using ::testing::ElementsAre;
using testing::GifWriter;

std::vector<int> pixel(const Bitmap& bitmap, int x, int y) {
  const auto at = static_cast<std::size_t>(4 * (y * bitmap.width + x));
  return {bitmap.pixels.begin() + static_cast<std::ptrdiff_t>(at),
          bitmap.pixels.begin() + static_cast<std::ptrdiff_t>(at) + 4};
}

int decodeAll(ImageDecoder& decoder) {
  int frames = 0;
  while (const auto bitmap = decoder.next()) {
    EXPECT_EQ(bitmap->pixels.size(),
              static_cast<std::size_t>(Bitmap::byteCount(bitmap->width, bitmap->height)));
    ++frames;
  }
  return frames;
}

template <std::size_t count>
Data dataOf(const std::array<unsigned char, count>& bytes) {
  return Data(std::as_bytes(std::span(bytes)));
}

// 2 x 2 pixels, blue.
constexpr std::array<unsigned char, 36> webp{0x52, 0x49, 0x46, 0x46, 0x1c, 0x00, 0x00, 0x00, 0x57,
                                             0x45, 0x42, 0x50, 0x56, 0x50, 0x38, 0x4c, 0x0f, 0x00,
                                             0x00, 0x00, 0x2f, 0x01, 0x40, 0x00, 0x00, 0x07, 0x10,
                                             0xd1, 0xff, 0xfe, 0x07, 0x22, 0xa2, 0xff, 0x01, 0x00};

TEST(ImageDecoderTest, GivesEachFrameOfAGifWithItsDelayAndStartsAgain) {
  GifWriter gif(5, 3);
  gif.addFrame(std::uint8_t{0}, 5);
  std::vector<std::uint8_t> picture(15, 100);
  picture[7] = 20;
  gif.addFrame(picture, 123);
  const auto decoder = ImageDecoder::open(gif.data());
  ASSERT_TRUE(decoder);
  EXPECT_THAT(decoder->delays(), ElementsAre(milliseconds(50), milliseconds(1230)));
  for (int round = 0; round < 3; ++round) {
    const auto first = decoder->next();
    ASSERT_TRUE(first);
    EXPECT_EQ(first->width, 5);
    EXPECT_EQ(first->height, 3);
    EXPECT_THAT(pixel(*first, 4, 2), ElementsAre(0, 255, 0, 255));
    const auto second = decoder->next();
    ASSERT_TRUE(second);
    EXPECT_THAT(pixel(*second, 1, 1), ElementsAre(200, 55, 100, 255));
    EXPECT_THAT(pixel(*second, 2, 1), ElementsAre(40, 215, 20, 255));
    EXPECT_FALSE(decoder->next());
    decoder->rewind();
  }
}

TEST(ImageDecoderTest, AZeroDelayIsATenthOfASecond) {
  GifWriter gif(2, 2);
  for (const int delay : {0, 1, 2}) gif.addFrame(std::uint8_t{1}, delay);
  EXPECT_THAT(ImageDecoder::open(gif.data())->delays(),
              ElementsAre(milliseconds(100), milliseconds(100), milliseconds(20)));
}

TEST(ImageDecoderTest, ReadsWebP) {
  const auto decoder = ImageDecoder::open(dataOf(webp));
  ASSERT_TRUE(decoder);
  EXPECT_EQ(decoder->delays().size(), 1U);
  const auto bitmap = decoder->next();
  ASSERT_TRUE(bitmap);
  EXPECT_THAT(pixel(*bitmap, 1, 1), ElementsAre(0, 0, 255, 255));
  EXPECT_FALSE(decoder->next());
}

TEST(ImageDecoderTest, ManySizesKeepTheirRowsApart) {
  for (int width = 1; width <= 70; ++width) {
    GifWriter gif(width, 3);
    std::vector<std::uint8_t> picture(static_cast<std::size_t>(width) * 3, 10);
    picture.back() = 127;
    gif.addFrame(picture, 10);
    const auto bitmap = ImageDecoder::open(gif.data())->next();
    ASSERT_TRUE(bitmap);
    EXPECT_THAT(pixel(*bitmap, 0, 2), ElementsAre(width == 1 ? 254 : 20, width == 1 ? 1 : 235,
                                                  width == 1 ? 127 : 10, 255));
    EXPECT_THAT(pixel(*bitmap, width - 1, 2), ElementsAre(254, 1, 127, 255));
  }
}

TEST(ImageDecoderTest, RefusesWhatIsNoImage) {
  const std::string page = "<!DOCTYPE html><html><body>Not found</body></html>";
  const std::string playlist = "#EXTM3U\n#EXTINF:1,\nfile:///etc/passwd\n";
  const std::string concat = "ffconcat version 1.0\nfile '/etc/passwd'\n";
  for (const auto& text :
       {std::string(), std::string("GIF89a"), page, playlist, concat, std::string(100'000, '\0')}) {
    EXPECT_FALSE(ImageDecoder::open(Data(text))) << text.substr(0, 20);
  }
}

TEST(ImageDecoderTest, RefusesSizesBeyondTheLimitBeforeDecoding) {
  GifWriter gif(65'535, 65'535);
  auto bytes = gif.data();
  EXPECT_FALSE(ImageDecoder::open(bytes));

  // The same header with a frame that is really there.
  GifWriter small(8, 8);
  small.addFrame(std::uint8_t{3}, 10);
  bytes = small.data();
  for (const std::size_t at : {6U, 7U, 8U, 9U}) {
    bytes.resize(bytes.count())[at] = std::byte{0xFF};
  }
  EXPECT_FALSE(ImageDecoder::open(bytes));
  EXPECT_TRUE(ImageDecoder::open(small.data(), {.pixels = 64}));
  EXPECT_FALSE(ImageDecoder::open(small.data(), {.pixels = 63}));
}

TEST(ImageDecoderTest, LimitsTheNumberOfFrames) {
  GifWriter gif(2, 2);
  for (int i = 0; i < 10'000; ++i) gif.addFrame(static_cast<std::uint8_t>(i % 100), 0);
  const auto all = ImageDecoder::open(gif.data());
  EXPECT_EQ(all->delays().size(), 10'000U);
  EXPECT_EQ(decodeAll(*all), 10'000);
  const auto some = ImageDecoder::open(gif.data(), {.frames = 7});
  EXPECT_EQ(some->delays().size(), 7U);
  EXPECT_EQ(decodeAll(*some), 7);
}

TEST(ImageDecoderTest, ATruncatedFileGivesTheFramesBeforeTheCut) {
  GifWriter gif(16, 16);
  for (std::uint8_t i = 0; i < 10; ++i) gif.addFrame(i, 10);
  const auto whole = gif.data();
  int most = 0;
  for (std::int64_t length = 1; length < whole.count(); ++length) {
    const auto decoder = ImageDecoder::open(whole.subdata(0, length));
    const int frames = decoder ? decodeAll(*decoder) : 0;
    EXPECT_GE(frames, most) << "of " << length << " bytes";
    most = frames;
  }
  EXPECT_EQ(most, 10);
}

TEST(ImageDecoderTest, SurvivesCorruption) {
  GifWriter gif(16, 16);
  std::mt19937 random(1);
  std::vector<std::uint8_t> noise(256);
  for (int i = 0; i < 4; ++i) {
    for (auto& index : noise) index = static_cast<std::uint8_t>(random() % 128);
    gif.addFrame(noise, 10);
  }
  int opened = 0;
  for (int attempt = 0; attempt < 500; ++attempt) {
    auto bytes = gif.data();
    const auto view = bytes.resize(bytes.count());
    for (int hit = 0; hit < 8; ++hit) view[random() % view.size()] = std::byte(random() % 256);
    const auto decoder = ImageDecoder::open(bytes);
    if (!decoder) continue;
    ++opened;
    const auto announced = static_cast<int>(decoder->delays().size());
    EXPECT_LE(decodeAll(*decoder), announced);
    decoder->rewind();
    EXPECT_LE(decodeAll(*decoder), announced);
  }
  EXPECT_GT(opened, 100);
}

}  // namespace
}  // namespace tavrin
