#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <ctime>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "Tavrin/Foundation/FileManager.hpp"
#include "Tavrin/Foundation/Internal/ScratchFile.hpp"
#include "Tavrin/Testing/TemporaryDirectory.hpp"

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

// What a file system without unnamed files answers, for the rest of the process.
void refuseUnnamedFiles() {
  constexpr auto unnamed = static_cast<std::uint32_t>(O_TMPFILE & ~O_DIRECTORY);
  constexpr auto refused = SECCOMP_RET_ERRNO | EOPNOTSUPP;
  sock_filter program[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_openat, 0, 3),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[2])),
      BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, unnamed, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, refused),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog filter{std::size(program), program};
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
      prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0) {
    _exit(2);
  }
}

TEST_F(FileManagerTest, WithoutUnnamedFilesATemporaryNameDoesAndIsTakenBack) {
  EXPECT_TRUE(inChild([&] {
    refuseUnnamedFiles();
    const auto unnamed = open(folder.path().c_str(), O_TMPFILE | O_RDWR, 0600);
    if (unnamed >= 0 || errno != EOPNOTSUPP) return false;
    auto made = std::get<0>(ScratchFile::make(folder.path()));
    if (entries() != 1 || made->write(0, Data("bytes").view())) return false;
    FileManager::removeStaleTemporaryFiles(folder.path());
    if (write(Data(made, 0, 5)) || write(Data("more"), "other") || entries() != 2) return false;
    static_cast<void>(ScratchFile::make(folder.path()));
    return entries() == 2;
  }));
  EXPECT_EQ(FileManager::contents(pathOf("clip.mp4"))->text(), "bytes");
}

// Each child is killed at some moment of its writes, by its own clock.
TEST_F(FileManagerTest, KilledAtAnyMomentEveryNameHoldsAWholeBody) {
  ASSERT_EQ(write(Data(std::string(1'000'000, 'x'))), std::nullopt);
  for (long moment = 1; moment <= 200; ++moment) {
    const auto child = fork();
    if (child == 0) {
      sigevent killed{};
      killed.sigev_notify = SIGEV_SIGNAL;
      killed.sigev_signo = SIGKILL;
      timer_t timer{};
      const itimerspec after{{}, {0, 100'000 * moment}};
      if (timer_create(CLOCK_MONOTONIC, &killed, &timer) != 0) _exit(1);
      timer_settime(timer, 0, &after, nullptr);
      for (int i = 0;; i = (i + 1) % 4) {
        static_cast<void>(write(Data(std::string(1'000'000, 'x')), i == 0 ? "new" : "clip.mp4"));
      }
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    FileManager::removeStaleTemporaryFiles(folder.path());
    for (const auto& entry : fs::directory_iterator(folder.path())) {
      ASSERT_EQ(entry.file_size(), 1'000'000U) << entry.path();
      ASSERT_FALSE(FileManager::isTemporaryName(entry.path().filename().string()));
    }
  }
}

TEST_F(FileManagerTest, TwoProcessesThatKeepOneNameReplaceItAtomically) {
  ASSERT_EQ(write(Data(std::string(100'000, 'a'))), std::nullopt);
  std::vector<pid_t> children;
  for (const char c : {'a', 'b'}) {
    children.push_back(fork());
    if (children.back() != 0) continue;
    for (int i = 0; i < 50; ++i) {
      if (write(Data(std::string(100'000, c)))) _exit(1);
    }
    _exit(0);
  }
  for (const auto child : children) {
    int status = 0;
    while (waitpid(child, &status, WNOHANG) == 0) {
      const auto found = FileManager::contents(pathOf("clip.mp4"));
      ASSERT_TRUE(found && found->count() == 100'000);
      ASSERT_EQ(found->text().find_first_not_of(found->text()[0]), std::string_view::npos);
    }
    EXPECT_EQ(status, 0);
  }
  EXPECT_EQ(entries(), 1);
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
