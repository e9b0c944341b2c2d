#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include "Tavrin/Foundation/Data.hpp"

namespace tavrin {

/// A directory of resources. Immutable; any thread.
class Bundle {
 public:
  /// The bundle that ships with the executable or shared library that `address` lies in.
  ///
  /// It is share/tavrin/Resources in the directory of that file or in the nearest of the three
  /// directories above it. So it is found from a build tree, from an installed prefix (bin/, lib/,
  /// lib/TRIPLET/), and from a copy of either at any other place. Where there is none, the bundle
  /// is an empty one beside the code.
  static std::shared_ptr<const Bundle> holding(const void* address);
  /// The bundle in a directory, which need not exist.
  static std::shared_ptr<const Bundle> make(std::filesystem::path directory);

  const std::filesystem::path& directory() const { return directory_; }

  /// The bytes of a file that lies in the directory itself. Absent when there is none, when it
  /// cannot be read, and for a name with a slash or a NUL.
  std::optional<Data> resource(std::string_view fileName) const;

  /// Bundles are equal when they have the same directory.
  bool operator==(const Bundle&) const = default;

 private:
  explicit Bundle(std::filesystem::path directory) : directory_(std::move(directory)) {}

  std::filesystem::path directory_;
};

}  // namespace tavrin

template <>
struct std::hash<tavrin::Bundle> {
  std::size_t operator()(const tavrin::Bundle& bundle) const noexcept {
    return std::filesystem::hash_value(bundle.directory());
  }
};
