#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Tavrin/Foundation/Data.hpp"
#include "Tavrin/Foundation/Error.hpp"

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

  /// Reads a whole regular file into memory; absent when that fails.
  static std::optional<Data> contents(const std::string& path);

  /// The bytes of a regular file, which stays open for as long as a copy of them is held: they can
  /// be read whatever becomes of its name. A small file is read at once, of any other nothing.
  /// Absent when it cannot be opened.
  static std::optional<Data> open(const std::string& path);
  /// Has the system fetch from the disk, on a thread of `Executor::files()`, the parts of an open
  /// file that a player asks for first: its head and its tail.
  static void readAhead(const Data& file);

  /// Replaces the file `name` in a directory by the bytes, whole or not at all: they are written to
  /// a file without a name, flushed, and linked under it; bytes that already lie in such a file of
  /// the directory are not copied. Returns why it could not; then what was there is there still.
  static std::optional<Error> write(const Data& data, const std::string& directory,
                                    const std::string& name);

  /// Whether the name is one of a temporary file: where the file system has no files without names,
  /// and for the moment in which a file takes the place of another.
  static bool isTemporaryName(std::string_view name);
  /// Deletes what writes that were killed have left in a directory. Writes that are running, in
  /// this process or another, are let be.
  static void removeStaleTemporaryFiles(const std::string& directory);
};

}  // namespace tavrin
