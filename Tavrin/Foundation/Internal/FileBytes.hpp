#pragma once

#include <utility>

#include "Tavrin/Foundation/ByteSource.hpp"
#include "Tavrin/Foundation/FileDescriptor.hpp"

namespace tavrin {

/// The bytes of an open regular file, whatever becomes of its name. A file that has become shorter
/// than it was, or that the disk does not give, is the error of the read that meets it.
class FileBytes final : public ByteSource {
 public:
  explicit FileBytes(FileDescriptor file) : file_(std::move(file)) {}

  std::optional<Error> read(std::int64_t offset, std::span<std::byte> room) const override;
  /// Has the system fetch a range from the disk, without waiting for its bytes.
  void expect(std::int64_t offset, std::int64_t length) const;
  int descriptor() const { return file_.get(); }

 private:
  const FileDescriptor file_;
};

}  // namespace tavrin
