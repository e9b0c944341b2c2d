#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <system_error>
#include <vector>

#include "Tavrin/Foundation/Data.hpp"
#include "Tavrin/Foundation/FileManager.hpp"
#include "Tavrin/Foundation/UUID.hpp"
#include "Tavrin/Testing/Bytes.hpp"
#include "Tavrin/Testing/TemporaryDirectory.hpp"

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

TEST(Data, IsTheSameInAFileAsInMemory) {
  const testing::TemporaryDirectory folder;
  const auto path = folder.path() / "bytes";
  const auto body = testing::makeBody(200'000);
  std::ofstream(path) << body;
  const auto file = FileManager::open(path).value();
  ASSERT_TRUE(file.source());
  EXPECT_EQ(file.count(), 200'000);
  EXPECT_EQ(file, Data(body));
  EXPECT_NE(file, Data(std::string(200'000, 'x')));
  const auto part = file.subdata(1000, 150'000).subdata(500, 100);
  EXPECT_EQ(part.source(), file.source());
  EXPECT_EQ(part.text(), body.substr(1500, 100));
  auto changed = file;
  changed.append(Data("more").view());
  EXPECT_EQ(changed.text(), body + "more");
  EXPECT_EQ(file.text(), body);
}

TEST(Data, BytesThatCannotBeReadAreAnErrorAndNoneOfThemIsShown) {
  const testing::TemporaryDirectory folder;
  const auto path = folder.path() / "bytes";
  std::ofstream(path) << testing::makeBody(200'000);
  const auto file = FileManager::open(path).value();
  auto changed = file;
  std::filesystem::resize_file(path, 100'000);
  std::vector<std::byte> room(100);
  EXPECT_EQ(file.read(99'900, room), std::nullopt);
  EXPECT_EQ(file.read(99'901, room)->code, ErrorCode::cutShort);
  EXPECT_TRUE(file.view().empty());
  EXPECT_NE(file, FileManager::open(path));
  EXPECT_THROW(changed.append(room), std::system_error);
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
