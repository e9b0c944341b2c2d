#include "Tests/Support/CacheFixture.hpp"

#include <algorithm>
#include <fstream>
#include <iterator>

#include "Tavrin/Foundation/FileManager.hpp"

namespace tavrin::testing {

void CacheFixture::addFile(const std::string& name, const std::string& contents) const {
  std::ofstream(cacheDirectory() / name, std::ios::binary) << contents;
}

std::string CacheFixture::fileContents(const std::string& name) const {
  std::ifstream file(cacheDirectory() / name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> CacheFixture::files() const {
  auto names = filesBelow(cacheDirectory());
  std::erase_if(names, FileManager::isTemporaryName);
  return names;
}

std::vector<std::string> CacheFixture::filesBelow(const std::filesystem::path& directory) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
    if (!entry.is_directory()) names.push_back(entry.path().lexically_relative(directory).string());
  }
  std::ranges::sort(names);
  return names;
}

bool CacheFixture::waitUntil(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  auto& queue = DispatchQueue::main();
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    queue.runUntil(condition, std::chrono::milliseconds(1));
  }
  return true;
}

}  // namespace tavrin::testing
