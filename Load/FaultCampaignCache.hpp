#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace tavrin::load {

/// What a cache directory holds under a name, for the eye and for the verdict.
struct CacheEntry {
  std::string description;
  /// Whether it is something that must never be kept.
  bool isPoisoned = false;
};

/// What is at a path, in a form that can be compared with what is there later.
struct PathLook {
  std::filesystem::file_type type = std::filesystem::file_type::not_found;
  std::string bytes;  // of a regular file that can be read

  static PathLook at(const std::filesystem::path& path);
  bool operator==(const PathLook&) const = default;
};

/// Judges the entry of a video. It may be the clip itself; what the behaviour serves as a whole
/// body; or what the fault had put there beforehand. Anything else must not be.
CacheEntry judgeEntry(const PathLook& before, const PathLook& after, const std::string& clip,
                      const std::string& behaviour);

/// How many temporary files a directory holds.
int countTemporaryFiles(const std::filesystem::path& directory);

}  // namespace tavrin::load
