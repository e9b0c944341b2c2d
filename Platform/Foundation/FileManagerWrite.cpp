#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "Platform/Foundation/FileDescriptor.hpp"
#include "Platform/Foundation/FileManager.hpp"

namespace tavrin {

namespace {

constexpr std::string_view temporaryPrefix = ".tavrin-partial-";

struct TemporaryFile {
  FileDescriptor file;
  std::string path;
};

// A temporary file is locked while it is written, which tells it from one whose writer was killed.
// The file may be taken for such a one, and deleted, between its creation and its locking; then
// another is made.
TemporaryFile makeTemporaryFile(const std::string& directory) {
  for (;;) {
    std::string path = directory + "/" + std::string(temporaryPrefix) + "XXXXXX";
    FileDescriptor file(::mkostemp(path.data(), O_CLOEXEC));
    struct stat made{};
    const bool isLocked = file.isOpen() && ::flock(file.get(), LOCK_EX) == 0;
    if (!isLocked || ::fstat(file.get(), &made) != 0 || made.st_nlink > 0) {
      return {std::move(file), std::move(path)};
    }
  }
}

bool writeAll(int file, std::span<const std::byte> bytes) {
  while (!bytes.empty()) {
    const auto written = ::write(file, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace

std::optional<Error> FileManager::write(const Data& data, const std::string& directory,
                                        const std::string& name) {
  auto temporary = makeTemporaryFile(directory);
  const auto path = directory + "/" + name;
  // Renamed while still open, so that nobody takes the finished file for a leftover.
  if (temporary.file.isOpen() && writeAll(temporary.file.get(), data.view()) &&
      ::fdatasync(temporary.file.get()) == 0 &&
      ::rename(temporary.path.c_str(), path.c_str()) == 0) {
    return std::nullopt;
  }
  const auto reason = std::generic_category().message(errno);
  if (temporary.file.isOpen()) ::unlink(temporary.path.c_str());
  return Error{"cannot write " + path + ": " + reason};
}

bool FileManager::isTemporaryName(std::string_view name) {
  return name.starts_with(temporaryPrefix);
}

void FileManager::removeStaleTemporaryFiles(const std::string& directory) {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(directory, error)) {
    if (!isTemporaryName(entry.path().filename().string())) continue;
    const FileDescriptor file(::open(entry.path().c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (file.isOpen() && ::flock(file.get(), LOCK_EX | LOCK_NB) == 0) {
      ::unlink(entry.path().c_str());
    }
  }
}

}  // namespace tavrin
