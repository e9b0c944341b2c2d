#include <gtest/gtest.h>

#include <string>

#include "Platform/Foundation/Data.hpp"
#include "Platform/Foundation/UUID.hpp"

namespace tavrin {
namespace {

TEST(Data, CopiesKeepTheirBytesWhileTheOriginalGrows) {
  Data data("abc");
  const Data copy = data;
  for (int i = 0; i < 1000; ++i) data.append(Data("0123456789").view());
  EXPECT_EQ(copy.text(), "abc");
  EXPECT_EQ(data.count(), 10'003);
  EXPECT_EQ(data.subdata(1, 4).text(), "bc01");
  EXPECT_EQ(data.subdata(10'003, 0).count(), 0);
  EXPECT_EQ(Data(), Data(""));
}

TEST(Data, ABufferWithoutCopiesGrowsInPlaceWithinItsReserve) {
  Data data;
  data.reserve(1'000'000);
  const auto* const before = data.bytes();
  data.append(Data(std::string(1'000'000, 'x')).view());
  EXPECT_EQ(data.bytes(), before);
}

TEST(UUID, ReadsWhatItWritesAndRefusesTheRest) {
  const auto id = UUID::random();
  EXPECT_EQ(UUID::parse(id.text()), id);
  EXPECT_NE(UUID::random(), id);
  EXPECT_EQ(id.text()[14], '4');
  const std::string valid = "0188f0aa-12cd-4abc-8def-0123456789ab";
  EXPECT_TRUE(UUID::parse(valid));
  EXPECT_FALSE(UUID::parse(""));
  EXPECT_FALSE(UUID::parse(valid + "c"));
  EXPECT_FALSE(UUID::parse(valid.substr(1)));
  for (const char wrong : {'+', 'g', ' '}) {
    for (std::size_t i = 0; i < valid.size(); ++i) {
      auto text = valid;
      text[i] = wrong;
      EXPECT_FALSE(UUID::parse(text)) << text;
    }
  }
}

}  // namespace
}  // namespace tavrin
