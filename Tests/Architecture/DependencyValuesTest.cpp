#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "Tavrin/Architecture/DependencyValues.hpp"

namespace tavrin {
namespace {

struct WordKey {
  using Value = std::string;
  static Value liveValue() { return "live"; }
  static Value testValue() { return "test"; }
};

struct PreviewedKey {
  using Value = std::string;
  static Value liveValue() { return "live"; }
  static Value previewValue() { return "preview"; }
};

struct CountedKey {
  using Value = int;
  static std::atomic<int> made;
  static Value liveValue() { return ++made; }
};
std::atomic<int> CountedKey::made{0};

TEST(DependencyValues, TheContextChoosesTheValueThatAKeyGives) {
  const auto read = [](DependencyContext context) {
    return withDependencies([&](DependencyValues& values) { values.setContext(context); },
                            [] {
                              const auto values = DependencyValues::current();
                              return *values.get<WordKey>() + " " + *values.get<PreviewedKey>();
                            });
  };
  EXPECT_EQ(read(DependencyContext::live), "live live");
  EXPECT_EQ(read(DependencyContext::test), "test live");
  EXPECT_EQ(read(DependencyContext::preview), "live preview");
}

TEST(DependencyValues, AnOverrideHoldsForWhatIsMadeInsideIt) {
  const auto inside =
      withDependencies([](DependencyValues& values) { values.set<WordKey>("mine"); },
                       [] { return Dependency<WordKey>(); });
  const Dependency<WordKey> outside;
  EXPECT_EQ(*inside(), "mine");
  EXPECT_EQ(*outside(), "live");
  std::thread([&] { EXPECT_EQ(*inside(), "mine"); }).join();
}

TEST(DependencyValues, EachReadingYieldsTheEntryAsItIsThen) {
  withDependencies([](DependencyValues& values) { values.set<WordKey>("first"); },
                   [] {
                     const Dependency<WordKey> word;
                     const auto kept = word();
                     DependencyValues::current().set<WordKey>("second");
                     EXPECT_EQ(*kept, "first");
                     EXPECT_EQ(*word(), "second");
                   });
}

TEST(DependencyValues, RacingFirstReadingsShareOneValue) {
  std::vector<std::thread> readers;
  std::vector<const int*> seen(8);
  for (auto& address : seen) {
    readers.emplace_back(
        [&address] { address = DependencyValues::current().get<CountedKey>().get(); });
  }
  for (auto& reader : readers) reader.join();
  for (const auto* address : seen) EXPECT_EQ(address, seen.front());
}

}  // namespace
}  // namespace tavrin
