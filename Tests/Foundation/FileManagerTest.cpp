#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Foundation/FileManager.hpp"
#include "Tests/Support/TemporaryDirectory.hpp"

namespace tavrin {
namespace {

namespace fs = std::filesystem;

// Runs `body` in a forked child, for what changes a process, and returns what it returned.
bool inChild(const std::function<bool()>& body) {
  const auto child = fork();
  if (child == 0) _exit(body() ? 0 : 1);
  int status = 0;
  return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

class FileManagerTest : public ::testing::Test {
 protected:
  std::string pathOf(const std::string& name) const { return (folder.path() / name).string(); }
  std::optional<Error> write(const Data& data, const std::string& name = "clip.mp4") const {
    return FileManager::write(data, folder.path().string(), name);
  }
  std::int64_t entries() const {
    return std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator());
  }

  testing::TemporaryDirectory folder;
};

TEST_F(FileManagerTest, TheCachesDirectoryIsAbsoluteOrAbsent) {
  const auto found = [](const char* caches, const char* home, std::optional<std::string> expected) {
    return inChild([&] {
      setenv("XDG_CACHE_HOME", caches, 1);
      setenv("HOME", home, 1);
      return FileManager::cachesDirectory() == expected;
    });
  };
  EXPECT_TRUE(found("/x/y", "/home/z", "/x/y"));
  EXPECT_TRUE(found("relative", "/home/z", "/home/z/.cache"));
  EXPECT_TRUE(found("", "/home/z", "/home/z/.cache"));
  EXPECT_TRUE(found("", "", std::nullopt));
}

TEST_F(FileManagerTest, ANewDirectoryBelongsToTheUserAlone) {
  const auto path = pathOf("a/b/VideoCache");
  EXPECT_EQ(FileManager::createDirectory(path), std::nullopt);
  EXPECT_EQ(FileManager::createDirectory(path), std::nullopt);
  EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_all);
  std::ofstream(pathOf("file")) << "x";
  EXPECT_TRUE(FileManager::createDirectory(pathOf("file")));
  EXPECT_TRUE(FileManager::createDirectory(pathOf("file/under")));
}

TEST_F(FileManagerTest, AWriteReplacesTheFileAndLeavesNothingElse) {
  EXPECT_EQ(write(Data("first")), std::nullopt);
  EXPECT_EQ(write(Data("second, longer")), std::nullopt);
  EXPECT_EQ(FileManager::contents(pathOf("clip.mp4"))->text(), "second, longer");
  EXPECT_EQ(write(Data()), std::nullopt);
  EXPECT_EQ(FileManager::contents(pathOf("clip.mp4"))->count(), 0);
  EXPECT_EQ(entries(), 1);
}

TEST_F(FileManagerTest, AFailedWriteLeavesTheOldFileAndNoLeftover) {
  ASSERT_EQ(write(Data("old")), std::nullopt);
  EXPECT_TRUE(inChild([&] {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{1000, 1000};
    setrlimit(RLIMIT_FSIZE, &limit);
    return write(Data(std::string(5000, 'x'))).has_value();
  }));
  EXPECT_EQ(FileManager::contents(pathOf("clip.mp4"))->text(), "old");
  fs::create_directory(pathOf("taken"));
  EXPECT_TRUE(write(Data("x"), "taken"));
  EXPECT_TRUE(write(Data("x"), std::string(300, 'n')));
  EXPECT_TRUE(FileManager::write(Data("x"), pathOf("missing"), "clip.mp4"));
  EXPECT_EQ(entries(), 2);
}

TEST_F(FileManagerTest, WritersOfOneNameNeverInterleave) {
  std::vector<std::thread> writers;
  for (char c = 'a'; c < 'e'; ++c) {
    writers.emplace_back([this, c] {
      for (int i = 0; i < 20; ++i) {
        const Data data(std::string(100'000 + static_cast<std::size_t>(c), c));
        EXPECT_EQ(write(data), std::nullopt);
        FileManager::removeStaleTemporaryFiles(folder.path().string());
      }
    });
  }
  for (auto& writer : writers) writer.join();
  const auto data = *FileManager::contents(pathOf("clip.mp4"));
  const auto text = data.text();
  EXPECT_EQ(text.size(), 100'000 + static_cast<std::size_t>(text[0]));
  EXPECT_TRUE(std::ranges::all_of(text, [&](char c) { return c == text[0]; }));
  EXPECT_EQ(entries(), 1);
}

TEST_F(FileManagerTest, WritesThatAreKilledLeaveWholeFilesAndTheirLeftoversAreSwept) {
  const auto child = fork();
  if (child == 0) {
    for (int i = 0;; ++i) {
      static_cast<void>(write(Data(std::string(1'000'000, 'x')), std::to_string(i % 200)));
    }
  }
  while (entries() < 20) std::this_thread::yield();
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  FileManager::removeStaleTemporaryFiles(folder.path().string());
  for (const auto& entry : fs::directory_iterator(folder.path())) {
    EXPECT_FALSE(FileManager::isTemporaryName(entry.path().filename().string()));
    EXPECT_EQ(entry.file_size(), 1'000'000U);
  }
}

TEST_F(FileManagerTest, OnlyARegularFileIsRead) {
  ASSERT_EQ(mkfifo(pathOf("pipe").c_str(), 0600), 0);
  EXPECT_EQ(FileManager::contents(pathOf("pipe")), std::nullopt);
  EXPECT_EQ(FileManager::contents(folder.path().string()), std::nullopt);
  EXPECT_EQ(FileManager::contents(pathOf("missing")), std::nullopt);
  EXPECT_TRUE(FileManager::fileExists(folder.path().string()));
  EXPECT_FALSE(FileManager::fileExists(pathOf("missing")));
}

}  // namespace
}  // namespace tavrin
