#include "Tavrin/Mpv/Internal/WatchedReader.hpp"

namespace tavrin {

bool WatchedReader::isCutShort() const {
  const LockGuard lock(mutex_);
  return end_ && declared_.value() && *declared_.value() > *end_;
}

bool WatchedReader::isEncrypted(std::int64_t track) const {
  const LockGuard lock(mutex_);
  return encrypted_.has(track);
}

std::int64_t WatchedReader::countRead() const {
  const LockGuard lock(mutex_);
  return read_;
}

std::optional<std::int64_t> WatchedReader::end() const {
  const LockGuard lock(mutex_);
  return end_;
}

std::optional<std::int64_t> WatchedReader::size() {
  const auto size = reader_->size();
  const LockGuard lock(mutex_);
  if (size) end_ = size;
  return size;
}

bool WatchedReader::seek(std::int64_t offset) {
  if (!reader_->seek(offset)) return false;
  position_ = offset;
  return true;
}

std::int64_t WatchedReader::read(std::span<std::byte> buffer) {
  const auto count = reader_->read(buffer);
  const LockGuard lock(mutex_);
  if (count > 0) {
    const auto bytes = buffer.first(static_cast<std::size_t>(count));
    declared_.see(position_, bytes);
    encrypted_.see(position_, bytes);
    position_ += count;
    read_ += count;
  } else if (count == 0 && !buffer.empty()) {
    end_ = position_;
  }
  return count;
}

}  // namespace tavrin
