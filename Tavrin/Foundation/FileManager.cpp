#include "Platform/Foundation/FileManager.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "Platform/Foundation/FileDescriptor.hpp"

namespace tavrin {

namespace {

std::optional<std::string> absolutePath(const char* variable) {
  const char* value = std::getenv(variable);  // NOLINT: hosts set it before they start threads
  if (value == nullptr || value[0] != '/') return std::nullopt;
  return value;
}

// Reads until the end of the file, at most `room`. Absent when a read fails.
std::optional<std::size_t> readInto(int file, std::span<std::byte> room) {
  std::size_t filled = 0;
  while (filled < room.size()) {
    const auto got = ::read(file, room.data() + filled, room.size() - filled);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return std::nullopt;
    if (got == 0) break;
    filled += static_cast<std::size_t>(got);
  }
  return filled;
}

}  // namespace

std::optional<std::string> FileManager::cachesDirectory() {
  if (const auto caches = absolutePath("XDG_CACHE_HOME")) return caches;
  const auto home = absolutePath("HOME");
  return home ? std::optional(*home + "/.cache") : std::nullopt;
}

bool FileManager::fileExists(const std::string& path) {
  struct stat found{};
  return ::stat(path.c_str(), &found) == 0;
}

std::optional<Error> FileManager::createDirectory(const std::string& path) {
  std::error_code error;
  const std::filesystem::path directory(path);
  std::filesystem::create_directories(directory.parent_path(), error);
  if (!error && ::mkdir(path.c_str(), S_IRWXU) != 0 && errno != EEXIST) {
    error.assign(errno, std::generic_category());
  }
  if (!error && !std::filesystem::is_directory(directory, error) && !error) {
    error = std::make_error_code(std::errc::not_a_directory);
  }
  if (!error) return std::nullopt;
  return Error{"cannot create the directory " + path + ": " + error.message()};
}

std::optional<Data> FileManager::contents(const std::string& path) {
  // A pipe in the file's place would make a plain open wait.
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat found{};
  if (!file.isOpen() || ::fstat(file.get(), &found) != 0 || !S_ISREG(found.st_mode)) {
    return std::nullopt;
  }
  try {
    Data data;
    data.reserve(found.st_size);
    const auto filled = readInto(file.get(), data.resize(found.st_size));
    if (!filled) return std::nullopt;
    data.resize(static_cast<std::int64_t>(*filled));
    return data;
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
}

}  // namespace tavrin
