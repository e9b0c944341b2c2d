#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <system_error>
#include <vector>

#include "Tavrin/Foundation/FileDescriptor.hpp"
#include "Tavrin/Foundation/FileManager.hpp"
#include "Tavrin/Foundation/Internal/ScratchFile.hpp"

namespace tavrin {

namespace {

// Bytes that lie elsewhere are copied by so many.
constexpr std::int64_t copiedAtOnce = std::int64_t{1} << 20;

std::optional<Error> copy(const Data& data, ScratchFile& file) {
  if (!data.source()) return file.write(0, data.view());
  std::vector<std::byte> room(static_cast<std::size_t>(std::min(data.count(), copiedAtOnce)));
  for (std::int64_t at = 0; at < data.count(); at += copiedAtOnce) {
    const auto size = static_cast<std::size_t>(std::min(copiedAtOnce, data.count() - at));
    const auto window = std::span(room).first(size);
    if (const auto error = data.read(at, window)) return error;
    if (const auto error = file.write(at, window)) return error;
  }
  return std::nullopt;
}

}  // namespace

std::optional<Error> FileManager::write(const Data& data, const std::string& directory,
                                        const std::string& name) {
  const auto scratch = std::dynamic_pointer_cast<const ScratchFile>(data.source());
  if (scratch && scratch->canBeKept(directory, data.count())) return scratch->keepAs(name);
  auto made = ScratchFile::make(directory);
  if (const auto* error = std::get_if<Error>(&made)) return *error;
  auto& file = *std::get<std::shared_ptr<ScratchFile>>(made);
  if (const auto error = copy(data, file)) return error;
  return file.keepAs(name);
}

bool FileManager::isTemporaryName(std::string_view name) {
  return ScratchFile::isTemporaryName(name);
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
