#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <string_view>

#include "Platform/Foundation/CopyOnWrite.hpp"

namespace tavrin {

/// A byte buffer. Copies share storage until one of them is changed.
class Data {
 public:
  Data() = default;
  explicit Data(std::span<const std::byte> bytes) { append(bytes); }
  explicit Data(std::string_view text) : Data(std::as_bytes(std::span(text))) {}

  std::int64_t count() const { return storage_->size; }
  bool isEmpty() const { return count() == 0; }
  const std::byte* bytes() const { return storage_->bytes.get(); }
  std::span<const std::byte> view() const { return {bytes(), static_cast<std::size_t>(count())}; }
  std::string_view text() const;
  /// Whether a copy shares the storage, so that a change would have to copy the bytes.
  bool isShared() const { return storage_.isShared(); }

  /// Makes room for `capacity` bytes without touching them. Throws `std::bad_alloc`.
  void reserve(std::int64_t capacity) { storage_.mutate().reserve(capacity); }
  /// Adds bytes at the end; they must not be this buffer's own. Throws `std::bad_alloc`.
  void append(std::span<const std::byte> bytes);
  /// Changes the count and returns the bytes for writing; bytes beyond the old count are undefined.
  std::span<std::byte> resize(std::int64_t count);
  /// A copy of `length` bytes from `offset`, which must lie inside the buffer.
  Data subdata(std::int64_t offset, std::int64_t length) const;

  friend bool operator==(const Data& a, const Data& b);

 private:
  // malloc's memory, because realloc moves large blocks without copying or touching them.
  struct Free {
    void operator()(std::byte* bytes) const { std::free(bytes); }
  };
  struct Storage {
    Storage() = default;
    Storage(const Storage& other);
    Storage(Storage&& other) noexcept = default;
    Storage& operator=(const Storage&) = delete;
    void reserve(std::int64_t wanted);
    void grow(std::int64_t needed);

    std::unique_ptr<std::byte, Free> bytes;
    std::int64_t size = 0;
    std::int64_t capacity = 0;
  };

  CopyOnWrite<Storage> storage_;
};

}  // namespace tavrin
