#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

#include "Tavrin/View/ImageDecoder.hpp"
#include "Tavrin/View/Internal/Orientation.hpp"
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

std::unique_ptr<ImageDecoder> open(const Data& bytes, const ImageLimits& limits = {}) {
  auto opened = ImageDecoder::open(bytes, limits);
  EXPECT_EQ(opened.decoder == nullptr, opened.error != Error()) << opened.error.description;
  return std::move(opened.decoder);
}

ErrorCode refusal(const Data& bytes, const ImageLimits& limits = {}) {
  return ImageDecoder::open(bytes, limits).error.code;
}

// A file of the fuzzer's corpus.
Data picture(const std::string& name) {
  std::ifstream file(TAVRIN_TEST_PICTURES "/" + name, std::ios::binary);
  return Data(std::string{std::istreambuf_iterator<char>(file), {}});
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
  const auto decoder = open(gif.data());
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

TEST(ImageDecoderTest, ADelayOfTenMillisecondsOrLessIsATenthOfASecond) {
  GifWriter gif(2, 2);
  for (const int delay : {0, 1, 2}) gif.addFrame(std::uint8_t{1}, delay);
  EXPECT_THAT(open(gif.data())->delays(),
              ElementsAre(milliseconds(100), milliseconds(100), milliseconds(20)));
  for (const std::string name : {"frames.png", "frames.webp"}) {
    EXPECT_THAT(open(picture(name))->delays(), ElementsAre(milliseconds(100), milliseconds(11),
                                                           milliseconds(250), milliseconds(20)))
        << name;
  }
}

TEST(ImageDecoderTest, TellsHowOftenAnAnimationIsShown) {
  const auto plays = [](std::optional<int> repeats) {
    GifWriter gif(2, 2);
    if (repeats) gif.setRepeats(*repeats);
    gif.addFrame(std::uint8_t{1}, 10);
    return open(gif.data())->plays();
  };
  EXPECT_EQ(plays(std::nullopt), 1);
  EXPECT_EQ(plays(0), std::nullopt);
  EXPECT_EQ(plays(2), 3) << "after the first time";
  EXPECT_EQ(open(picture("frames.png"))->plays(), 2);
  EXPECT_EQ(open(picture("frames.webp"))->plays(), 2);
}

// The frames: all red; a green square at (2, 2) that is cleared; half blue over the left; a
// transparent square in place of the top left.
TEST(ImageDecoderTest, PutsTheFramesOfAnAnimationOneOverAnother) {
  for (const std::string name : {"frames.png", "frames.webp"}) {
    SCOPED_TRACE(name);
    const auto decoder = open(picture(name));
    for (int round = 0; round < 2; ++round, decoder->rewind()) {
      const auto first = decoder->next();
      EXPECT_THAT(pixel(*first, 2, 2), ElementsAre(255, 0, 0, 255));
      const auto second = decoder->next();
      EXPECT_THAT(pixel(*second, 2, 2), ElementsAre(0, 255, 0, 255));
      EXPECT_THAT(pixel(*second, 1, 2), ElementsAre(255, 0, 0, 255));
      const auto third = decoder->next();
      EXPECT_EQ(pixel(*third, 2, 2).back(), 0) << "cleared to the background";
      EXPECT_NEAR(pixel(*third, 0, 0)[0], 127, 1);
      EXPECT_NEAR(pixel(*third, 0, 0)[2], 128, 1);
      EXPECT_EQ(pixel(*decoder->next(), 0, 0).back(), 0) << "blended, and not put in its place";
      EXPECT_FALSE(decoder->next());
    }
  }
}

TEST(ImageDecoderTest, TheCanvasOfAGifIsTransparentAndItsFramesAreClipped) {
  GifWriter gif(4, 2);
  const auto colour = [](int count, std::uint8_t index) {
    return std::vector<std::uint8_t>(static_cast<std::size_t>(count), index);
  };
  gif.addFrame({.x = 1, .width = 2, .height = 1, .disposal = 2}, colour(2, 10), 5);
  gif.addFrame({.x = 3, .y = 1, .width = 5, .height = 7, .disposal = 3}, colour(35, 20), 5);
  gif.addFrame({.x = 9, .y = 9, .width = 2, .height = 2}, colour(4, 30), 5);
  gif.addFrame({.width = 1, .height = 1, .transparent = 40}, colour(1, 40), 5);
  const auto decoder = open(gif.data());
  ASSERT_TRUE(decoder);
  const auto visible = [&decoder] {
    const auto bitmap = decoder->next();
    std::string places;
    for (int at = 0; at < 8; ++at) places += pixel(*bitmap, at % 4, at / 4)[3] != 0 ? 'x' : '.';
    return places;
  };
  EXPECT_EQ(visible(), ".xx.....");
  EXPECT_EQ(visible(), ".......x");
  EXPECT_EQ(visible(), "........") << "what was there before is back";
  EXPECT_EQ(visible(), "........");
}

TEST(ImageDecoderTest, TurnsAPhotoUpright) {
  const auto photo = open(picture("on-its-side.jpg"))->next();  // red on the left, turned clockwise
  ASSERT_EQ(photo->width, 8);
  ASSERT_EQ(photo->height, 16);
  EXPECT_GT(pixel(*photo, 4, 2)[0], 200);
  EXPECT_GT(pixel(*photo, 4, 13)[2], 200);

  auto bitmap = std::make_shared<Bitmap>(Bitmap{2, 3, {}});
  for (const char letter : std::string_view("abcdef"))
    bitmap->pixels.insert(bitmap->pixels.end(), 4, static_cast<std::uint8_t>(letter));
  const auto turned = [&](int number) {
    const auto upright = Orientation{number}.upright(bitmap);
    std::string letters = std::to_string(upright->width) + " ";
    for (std::size_t at = 0; at < 24; at += 4) letters += static_cast<char>(upright->pixels[at]);
    return letters;
  };
  const std::vector<std::string> expected{"2 abcdef", "2 badcfe", "2 fedcba", "2 efcdab",
                                          "3 acebdf", "3 ecafdb", "3 fdbeca", "3 bdface"};
  for (int number = 1; number <= 8; ++number) {
    EXPECT_EQ(turned(number), expected[static_cast<std::size_t>(number - 1)]) << number;
  }
}

TEST(ImageDecoderTest, ScalesALargePictureDown) {
  const ImageLimits small{.side = 4};
  for (const std::string name : {"on-its-side.jpg", "frames.png", "still.png"}) {
    const auto whole = open(picture(name))->next();
    const auto scaled = open(picture(name), small)->next();
    const int longer = std::max(whole->width, whole->height);
    EXPECT_EQ(std::max(scaled->width, scaled->height), 4) << name;
    EXPECT_EQ(scaled->width, whole->width * 4 / longer) << name;
  }
  const auto photo = open(picture("on-its-side.jpg"), small)->next();
  EXPECT_GT(pixel(*photo, 0, 0)[0], 200);
  EXPECT_GT(pixel(*photo, 0, 3)[2], 200);
  EXPECT_EQ(open(dataOf(webp), {.side = 1})->next()->pixels.size(), 4U);
  EXPECT_EQ(refusal(picture("frames.webp"), small), ErrorCode::tooLarge);
}

TEST(ImageDecoderTest, ReadsWebP) {
  const auto decoder = open(dataOf(webp));
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
    const auto bitmap = open(gif.data())->next();
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
       {std::string(), std::string("GIF89a"), page, playlist, concat, std::string(100, '\0')}) {
    const bool hasName = text.starts_with("GIF");
    EXPECT_EQ(refusal(Data(text)), hasName ? ErrorCode::noPicture : ErrorCode::unsupported) << text;
  }
  EXPECT_EQ(refusal(Data(std::string_view("\x89PNG\r\n\x1a\n"))), ErrorCode::noPicture);
  EXPECT_EQ(refusal(Data(std::string_view("\xFF\xD8\xFF\xE0"))), ErrorCode::noPicture);
  EXPECT_EQ(refusal(Data(std::string_view("RIFF....WEBPVP8 "))), ErrorCode::noPicture);
}

TEST(ImageDecoderTest, RefusesSizesBeyondTheLimitBeforeDecoding) {
  const ImageLimits one{.pixels = 1, .animatedPixels = 1};
  for (const std::string name :
       {"still.jpg", "still.png", "still.webp", "frames.png", "frames.webp"}) {
    EXPECT_EQ(refusal(picture(name), one), ErrorCode::tooLarge) << name;
  }
  GifWriter small(8, 8);
  small.addFrame(std::uint8_t{3}, 10);
  auto bytes = small.data();
  for (const std::size_t at : {6U, 7U, 8U, 9U}) {
    bytes.resize(bytes.count())[at] = std::byte{0xFF};
  }
  EXPECT_EQ(refusal(bytes), ErrorCode::tooLarge);
  EXPECT_TRUE(open(small.data(), {.animatedPixels = 64}));
  EXPECT_EQ(refusal(small.data(), {.animatedPixels = 63}), ErrorCode::tooLarge);
}

TEST(ImageDecoderTest, LimitsTheNumberOfFrames) {
  GifWriter gif(2, 2);
  for (int i = 0; i < 10'000; ++i) gif.addFrame(static_cast<std::uint8_t>(i % 100), 0);
  const auto all = open(gif.data());
  EXPECT_EQ(all->delays().size(), 10'000U);
  EXPECT_EQ(decodeAll(*all), 10'000);
  const auto some = open(gif.data(), {.frames = 7});
  EXPECT_EQ(some->delays().size(), 7U);
  EXPECT_EQ(decodeAll(*some), 7);
}

TEST(ImageDecoderTest, ATruncatedFileGivesTheFramesBeforeTheCut) {
  GifWriter gif(16, 16);
  for (std::uint8_t i = 0; i < 10; ++i) gif.addFrame(i, 10);
  const auto whole = gif.data();
  int most = 0;
  for (std::int64_t length = 1; length < whole.count(); ++length) {
    const auto decoder = open(whole.subdata(0, length));
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
  std::vector<Data> files{gif.data()};
  for (const auto& entry : std::filesystem::directory_iterator(TAVRIN_TEST_PICTURES)) {
    files.push_back(picture(entry.path().filename()));
  }
  int opened = 0;
  for (std::size_t attempt = 0; attempt < 500 * files.size(); ++attempt) {
    auto bytes = files[attempt % files.size()];
    const auto view = bytes.resize(bytes.count());
    for (int hit = 0; hit < 8; ++hit) view[random() % view.size()] = std::byte(random() % 256);
    const auto decoder = open(bytes, {.pixels = 512 * 512, .animatedPixels = 512 * 512});
    if (!decoder) continue;
    ++opened;
    const auto announced = static_cast<int>(decoder->delays().size());
    EXPECT_LE(decodeAll(*decoder), announced);
    decoder->rewind();
    EXPECT_LE(decodeAll(*decoder), announced);
  }
  EXPECT_GT(opened, 1'000);
}

}  // namespace
}  // namespace tavrin
