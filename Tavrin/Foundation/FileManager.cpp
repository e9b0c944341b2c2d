#include "Tavrin/Foundation/FileManager.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

#include "Tavrin/Foundation/Executor.hpp"
#include "Tavrin/Foundation/FileDescriptor.hpp"
#include "Tavrin/Foundation/Internal/FileBytes.hpp"

namespace tavrin {

namespace {

std::optional<std::string> absolutePath(const char* variable) {
  const char* value = std::getenv(variable);  // NOLINT: hosts set it before they start threads
  if (value == nullptr || value[0] != '/') return std::nullopt;
  return value;
}

// Up to here, holding the bytes costs less than a descriptor and a read for each window.
constexpr std::int64_t smallFileBytes = std::int64_t{64} * 1024;

// A container's index lies at its head or at its tail, and playing begins behind the head.
constexpr std::int64_t headBytes = std::int64_t{2} << 20;
constexpr std::int64_t tailBytes = std::int64_t{1} << 20;

// A pipe in a file's place would make a plain open wait.
FileDescriptor openForReading(const std::string& path) {
  return FileDescriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
}

// Absent for what is not open, or is no regular file.
std::optional<std::int64_t> regularSize(const FileDescriptor& file) {
  struct stat found{};
  if (!file.isOpen() || ::fstat(file.get(), &found) != 0 || !S_ISREG(found.st_mode)) {
    return std::nullopt;
  }
  return found.st_size;
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

std::optional<Data> readWhole(const FileDescriptor& file, std::int64_t size) {
  try {
    Data data;
    data.reserve(size);
    const auto filled = readInto(file.get(), data.resize(size));
    if (!filled) return std::nullopt;
    data.resize(static_cast<std::int64_t>(*filled));
    return data;
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
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
  const auto file = openForReading(path);
  const auto size = regularSize(file);
  return size ? readWhole(file, *size) : std::nullopt;
}

std::optional<Data> FileManager::open(const std::string& path) {
  auto file = openForReading(path);
  const auto size = regularSize(file);
  if (!size) return std::nullopt;
  if (*size <= smallFileBytes) return readWhole(file, *size);
  return Data(std::make_shared<const FileBytes>(std::move(file)), 0, *size);
}

void FileManager::readAhead(const Data& file) {
  auto bytes = std::dynamic_pointer_cast<const FileBytes>(file.source());
  if (!bytes) return;
  Executor::files().post([bytes = std::move(bytes), end = file.count()] {
    bytes->expect(0, headBytes);
    bytes->expect(std::max(headBytes, end - tailBytes), tailBytes);
  });
}

}  // namespace tavrin
