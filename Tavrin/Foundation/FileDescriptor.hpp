#pragma once

#include <unistd.h>

#include <utility>

namespace tavrin {

/// An open file, closed with its owner. Negative when there is none.
class FileDescriptor {
 public:
  explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
  FileDescriptor(FileDescriptor&& other) noexcept
      : descriptor_(std::exchange(other.descriptor_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&&) = delete;
  ~FileDescriptor() { close(); }

  int get() const { return descriptor_; }
  bool isOpen() const { return descriptor_ >= 0; }
  /// Returns whether everything written has been taken; call it where that matters.
  bool close() { return descriptor_ < 0 || ::close(std::exchange(descriptor_, -1)) == 0; }

 private:
  int descriptor_;
};

}  // namespace tavrin
