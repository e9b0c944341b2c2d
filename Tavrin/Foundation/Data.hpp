#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "Tavrin/Foundation/CopyOnWrite.hpp"
#include "Tavrin/Foundation/Error.hpp"

namespace tavrin {

class ByteSource;

/// A byte buffer: in memory, or a part of a byte source such as a file. Copies share the bytes
/// until one of them is changed.
///
/// `count` and `subdata` never wait. `read` copies a window of the bytes from wherever they are;
/// where they lie elsewhere it may wait for a disk, and fail. What needs them side by side in
/// memory (`view`, `bytes`, `text`, and every change) reads them all first.
class Data {
 public:
  Data() = default;
  explicit Data(std::span<const std::byte> bytes) { append(bytes); }
  explicit Data(std::string_view text) : Data(std::as_bytes(std::span(text))) {}
  /// The `count` bytes that a source has from `offset` on. Nothing is read.
  Data(std::shared_ptr<const ByteSource> source, std::int64_t offset, std::int64_t count);

  std::int64_t count() const { return storage_->size; }
  bool isEmpty() const { return count() == 0; }
  /// Where the bytes lie; null when they are in memory.
  std::shared_ptr<const ByteSource> source() const;

  /// Fills `room` with the bytes from `offset` on, all of which must lie inside the buffer. Returns
  /// why it could not, which can only be for bytes that lie elsewhere.
  std::optional<Error> read(std::int64_t offset, std::span<std::byte> room) const;
  /// The bytes in memory. Those that lie elsewhere are read once for all copies, and kept; none are
  /// returned when that fails, and `read` says why.
  std::span<const std::byte> view() const;
  const std::byte* bytes() const { return view().data(); }
  std::string_view text() const;
  /// Whether a copy shares the storage, so that a change would have to copy the bytes.
  bool isShared() const { return storage_.isShared(); }

  // The changes throw `std::bad_alloc`, and `std::system_error` when bytes that lie elsewhere
  // cannot be read.

  /// Makes room for `capacity` bytes without touching them.
  void reserve(std::int64_t capacity) { owned().reserve(capacity); }
  /// Adds bytes at the end; they must not be this buffer's own.
  void append(std::span<const std::byte> bytes);
  /// Changes the count and returns the bytes for writing; bytes beyond the old count are undefined.
  std::span<std::byte> resize(std::int64_t count);
  /// The `length` bytes from `offset`, which must lie inside the buffer: a copy of what is in
  /// memory, a smaller part of what lies elsewhere.
  Data subdata(std::int64_t offset, std::int64_t length) const;

  /// Bytes that cannot be read equal nothing but their own copies.
  friend bool operator==(const Data& a, const Data& b);

 private:
  // malloc's memory, because realloc moves large blocks without copying or touching them.
  struct Free {
    void operator()(std::byte* bytes) const { std::free(bytes); }
  };
  class Elsewhere;
  struct Storage {
    Storage() = default;
    Storage(const Storage& other);
    Storage(Storage&& other) noexcept = default;
    Storage& operator=(const Storage&) = delete;
    void reserve(std::int64_t wanted);
    void grow(std::int64_t needed);
    void fetch();

    std::unique_ptr<std::byte, Free> bytes;
    std::int64_t size = 0;
    std::int64_t capacity = 0;
    std::shared_ptr<const Elsewhere> elsewhere;  // null when the bytes are in memory
  };

  Storage& owned();

  CopyOnWrite<Storage> storage_;
};

}  // namespace tavrin
