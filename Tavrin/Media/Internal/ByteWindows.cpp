#include "Tavrin/Media/Internal/ByteWindows.hpp"

#include <algorithm>
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

std::vector<ByteWindows::Piece> ByteWindows::take(std::int64_t most) {
  std::vector<Piece> pieces;
  while (most > 0) {
    dropConsumed();
    const auto first = chunks_.begin();
    if (first == chunks_.end() || first->first > position_) break;
    const auto& [offset, chunk] = *first;
    const auto length = std::min(chunk.end - position_, most);
    pieces.push_back({chunk.bytes, position_ - offset, length});
    most -= length;
    position_ += length;
  }
  dropConsumed();
  return pieces;
}

void ByteWindows::dropConsumed() {
  while (!chunks_.empty() && chunks_.begin()->second.end <= position_) {
    start_ = std::max(start_, chunks_.begin()->second.end);
    chunks_.erase(chunks_.begin());
  }
}

}  // namespace tavrin
