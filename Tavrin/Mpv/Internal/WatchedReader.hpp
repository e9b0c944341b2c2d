#pragma once

#include <memory>

#include "Tavrin/Foundation/Mutex.hpp"
#include "Tavrin/Media/AssetByteReader.hpp"
#include "Tavrin/Mpv/Internal/DeclaredEnd.hpp"
#include "Tavrin/Mpv/Internal/EncryptedTracks.hpp"

namespace tavrin {

/// Passes on another reader's bytes and notices whether they end before the file says they do, and
/// whether the file says that they are encrypted.
class WatchedReader final : public AssetByteReader {
 public:
  explicit WatchedReader(std::shared_ptr<AssetByteReader> reader) : reader_(std::move(reader)) {}

  /// Whether the body has come to its end and is shorter than it should be. Any thread.
  bool isCutShort() const;
  /// Whether what has been read says that a track is encrypted, by its place among the file's.
  /// Any thread.
  bool isEncrypted(std::int64_t track) const;
  /// Bytes that have been read, those read twice included. Any thread.
  std::int64_t countRead() const;
  /// Where the body ends, in bytes; absent while it is not known. Does not wait. Any thread.
  std::optional<std::int64_t> end() const;

  std::optional<std::int64_t> size() override;
  bool seek(std::int64_t offset) override;
  std::int64_t read(std::span<std::byte> buffer) override;
  void cancel() override { reader_->cancel(); }
  std::optional<Error> failure() const override { return reader_->failure(); }

 private:
  const std::shared_ptr<AssetByteReader> reader_;
  std::int64_t position_ = 0;  // bytes; the reading thread's
  mutable Mutex mutex_;
  DeclaredEnd declared_ TAVRIN_GUARDED_BY(mutex_);
  EncryptedTracks encrypted_ TAVRIN_GUARDED_BY(mutex_);
  std::int64_t read_ TAVRIN_GUARDED_BY(mutex_) = 0;
  std::optional<std::int64_t> end_ TAVRIN_GUARDED_BY(mutex_);  // bytes; where the body really ends
};

}  // namespace tavrin
