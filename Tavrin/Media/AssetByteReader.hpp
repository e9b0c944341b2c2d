#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "Tavrin/Foundation/Error.hpp"
#include "Tavrin/Media/AVURLAsset.hpp"

namespace tavrin {

/// Reads an asset the way a media engine reads a file. Where the asset's resource loader has a
/// delegate, blocking reads and seeks become loading requests on the loader's queue; any other
/// asset is streamed from its address, which must be one of http or https, past all caches.
///
/// `size`, `seek` and `read` belong to one thread, which is never the loader's queue; `cancel` may
/// be called from any.
class AssetByteReader {
 public:
  /// A reader at offset 0. Nothing is requested before the first `size` or `read`. Does not wait.
  static std::shared_ptr<AssetByteReader> make(const std::shared_ptr<AVURLAsset>& asset);

  virtual ~AssetByteReader() = default;

  /// The length of the resource in bytes. Waits until it is told; absent when it is not known, when
  /// the resource failed, and after `cancel`.
  virtual std::optional<std::int64_t> size() = 0;
  /// Moves to an offset in bytes, which may be the end. Does not wait. False, with the position
  /// unchanged, for a negative offset and for one past a known end.
  virtual bool seek(std::int64_t offset) = 0;
  /// Waits until there is at least one byte at the position, takes what is there, and returns how
  /// many bytes that was. 0 at the end, and for an empty buffer; -1 when the resource failed, was
  /// released or cannot be read, and after `cancel`. Bytes that lie in a file are read here, on the
  /// calling thread.
  virtual std::int64_t read(std::span<std::byte> buffer) = 0;
  /// Wakes a waiting call at once and makes every later one fail. Withdraws what is pending.
  virtual void cancel() = 0;
  /// Why a read has failed other than by `cancel`: engines take a failed read for a normal end, so
  /// they ask here. Absent when none has. Any thread.
  virtual std::optional<Error> failure() const = 0;
  bool hasFailed() const { return failure().has_value(); }
};

}  // namespace tavrin
