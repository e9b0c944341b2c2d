#include <gtest/gtest.h>

#include <thread>

#include "Tavrin/Architecture/IdentifiedArray.hpp"

namespace tavrin {
namespace {

struct Item {
  int id;
  char name;
  bool operator==(const Item&) const = default;
};
using Items = IdentifiedArray<int, Item>;

TEST(IdentifiedArray, KeepsOrderAndTheFirstElementOfEachIdentifier) {
  Items items({{3, 'a'}, {1, 'b'}, {3, 'c'}});
  EXPECT_EQ(items.count(), 2);
  EXPECT_EQ(items[std::int64_t{0}].name, 'a');
  EXPECT_EQ(items.index(1), 1);
  EXPECT_EQ(items.index(2), std::nullopt);
  EXPECT_FALSE(items.append({1, 'd'}));
  EXPECT_TRUE(items.append({2, 'e'}));
  EXPECT_EQ(items, Items({{3, 'a'}, {1, 'b'}, {2, 'e'}}));
  EXPECT_NE(items, Items({{1, 'b'}, {3, 'a'}, {2, 'e'}}));
}

TEST(IdentifiedArray, ACopyDoesNotSeeLaterChanges) {
  Items items({{1, 'a'}});
  const Items captured = items;
  items.append({2, 'b'});
  EXPECT_EQ(captured, Items({{1, 'a'}}));
  EXPECT_EQ(items.count(), 2);
}

// A copy that goes away on another thread leaves its storage to be changed in place on this one.
TEST(IdentifiedArray, CopiesOnOtherThreadsDoNotRaceWithChanges) {
  Items items;
  for (int i = 0; i < 2000; ++i) {
    std::thread reader([copy = items, i] { EXPECT_EQ(copy.count(), i); });
    items.append({i, 'x'});
    reader.join();
  }
  EXPECT_EQ(items.count(), 2000);
}

}  // namespace
}  // namespace tavrin
