#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "Tavrin/Foundation/Internal/FileBytes.hpp"

namespace tavrin {

/// A file in a directory for bytes that may be kept under a name later: it has none until then, so
/// that nothing is left of it whenever the process ends.
///
/// Where the file system has no such files, it has a temporary name, and a lock that tells it from
/// what a killed process left. One thread writes; any may read what has been written.
class ScratchFile final : public ByteSource {
 public:
  /// May wait for a disk, as everything here.
  static std::variant<std::shared_ptr<ScratchFile>, Error> make(const std::string& directory);
  /// Deletes a temporary name.
  ~ScratchFile() override;

  /// Writes all of the bytes or says why it could not; then some may be written. A limit on the
  /// size of files is an error like a full disk, and raises no signal.
  std::optional<Error> write(std::int64_t offset, std::span<const std::byte> bytes);
  std::optional<Error> read(std::int64_t offset, std::span<std::byte> room) const override {
    return bytes_.read(offset, room);
  }

  /// Flushes the file and gives it a name in its directory, in the place of another file that has
  /// it, whole or not at all. Returns why it could not; then it may be tried again.
  std::optional<Error> keepAs(const std::string& name) const;
  /// Whether the file lies in the directory, has so many bytes, and no name yet.
  bool canBeKept(const std::string& directory, std::int64_t count) const;

  static bool isTemporaryName(std::string_view name);

 private:
  ScratchFile(FileDescriptor file, std::string directory, std::string temporaryPath)
      : bytes_(std::move(file)),
        directory_(std::move(directory)),
        temporaryPath_(std::move(temporaryPath)) {}

  bool link(const std::string& path) const;
  bool linkInPlaceOf(const std::string& path) const;

  const FileBytes bytes_;
  const std::string directory_;
  const std::string temporaryPath_;  // empty for a file without a name
  mutable std::atomic<bool> isKept_ = false;
};

}  // namespace tavrin
