#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/Foundation/Data.hpp"
#include "Platform/Foundation/Error.hpp"

namespace tavrin {

/// Whole files and directories, by file-system path. Every operation may be called from any thread
/// and works on it.
struct FileManager {
  /// The user's caches directory: `$XDG_CACHE_HOME` when it is an absolute path, else
  /// `$HOME/.cache`. Absent when neither is set.
  static std::optional<std::string> cachesDirectory();

  /// Whether a file or a directory, or a link to one, exists at the path.
  static bool fileExists(const std::string& path);

  /// Creates the directory, and its missing parents, for this user alone. Nothing happens when it
  /// is there. Returns why it could not.
  static std::optional<Error> createDirectory(const std::string& path);

  /// Reads a whole regular file; absent when that fails.
  static std::optional<Data> contents(const std::string& path);

  /// Replaces the file `name` in a directory by the bytes, whole or not at all: they are written to
  /// a temporary file beside it, flushed and renamed. Returns why it could not; then what was there
  /// is there still.
  static std::optional<Error> write(const Data& data, const std::string& directory,
                                    const std::string& name);

  /// Whether the name is one that `write` gives its temporary files.
  static bool isTemporaryName(std::string_view name);
  /// Deletes what writes that were killed have left in a directory. Writes that are running, in
  /// this process or another, are let be.
  static void removeStaleTemporaryFiles(const std::string& directory);
};

}  // namespace tavrin
