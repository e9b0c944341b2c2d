#pragma once

#include <cstdint>
#include <memory>

#include "Platform/Foundation/Data.hpp"

struct AVIOContext;

namespace tavrin {

/// Bytes in memory as an input of libavformat. Not to be moved: the context points at it.
class MemoryInput {
 public:
  explicit MemoryInput(Data bytes);
  MemoryInput(const MemoryInput&) = delete;
  MemoryInput& operator=(const MemoryInput&) = delete;

  /// Null when there was no memory for it.
  AVIOContext* context() const { return context_.get(); }
  /// Starts from the first byte again.
  void rewind();

 private:
  struct Free {
    void operator()(AVIOContext* context) const;
  };

  static int read(void* self, std::uint8_t* target, int size);
  static std::int64_t seek(void* self, std::int64_t offset, int whence);

  const Data bytes_;
  std::int64_t position_ = 0;
  std::unique_ptr<AVIOContext, Free> context_;
};

}  // namespace tavrin
