#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

#include "Tavrin/Mpv/Internal/FreedMemory.hpp"
#include "Tests/Support/Sanitizers.hpp"

#ifdef __GLIBC__

namespace tavrin::testing {

namespace {

constexpr std::size_t probed = (std::size_t{10} << 20) + 64;  // bytes

std::int64_t residentBytes() {
  std::ifstream status("/proc/self/status");
  std::string word;
  std::int64_t kibibytes = 0;
  while (status >> word && word != "RssAnon:") {
  }
  status >> kibibytes;
  return kibibytes * 1024;
}

void useAndFree(std::size_t size) {
  auto* block = static_cast<volatile char*>(std::malloc(size));
  for (std::size_t i = 0; i < size; i += 1024) block[i] = 1;
  std::free(const_cast<char*>(block));
}

}  // namespace

TEST(FreedMemory, OfAProbedFileGoesBackToTheSystemFromTheEndOfAHeapToo) {
  if (isSanitized) GTEST_SKIP() << "another allocator";
  useAndFree(2 * probed);  // from now on the allocator keeps blocks that are smaller
  std::int64_t grown = 0;
  std::thread([&] {
    const auto before = residentBytes();
    useAndFree(probed);
    giveBackProbedMemory();
    grown = residentBytes() - before;
  }).join();
  EXPECT_LT(grown, std::int64_t{2} << 20);
}

}  // namespace tavrin::testing

#endif
