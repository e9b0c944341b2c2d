#include "Platform/Media/ByteWindows.hpp"

#include <algorithm>
#include <cstring>
#include <utility>

namespace tavrin {

void ByteWindows::restartAt(std::int64_t offset) {
  chunks_.clear();
  start_ = end_ = position_ = offset;
}

std::optional<ByteWindows::Window> ByteWindows::next(std::int64_t limit) {
  if (end_ >= limit || end_ - position_ > windowLength) return std::nullopt;
  const Window window{end_, std::min(windowLength, limit - end_)};
  end_ = window.end();
  return window;
}

void ByteWindows::receive(const Window& window, std::int64_t offset, Data bytes) {
  const auto end = std::min(offset + bytes.count(), window.end());
  if (offset < end) chunks_.insert_or_assign(offset, Chunk{std::move(bytes), end});
}

std::int64_t ByteWindows::take(std::span<std::byte> buffer) {
  const auto before = position_;
  while (!buffer.empty()) {
    dropConsumed();
    const auto first = chunks_.begin();
    if (first == chunks_.end() || first->first > position_) break;
    const auto& [offset, chunk] = *first;
    const auto size = std::min(static_cast<std::size_t>(chunk.end - position_), buffer.size());
    std::memcpy(buffer.data(), chunk.bytes.bytes() + (position_ - offset), size);
    buffer = buffer.subspan(size);
    position_ += static_cast<std::int64_t>(size);
  }
  dropConsumed();
  return position_ - before;
}

void ByteWindows::dropConsumed() {
  while (!chunks_.empty() && chunks_.begin()->second.end <= position_) {
    start_ = std::max(start_, chunks_.begin()->second.end);
    chunks_.erase(chunks_.begin());
  }
}

}  // namespace tavrin
