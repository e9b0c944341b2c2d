#include "Tavrin/Media/Internal/StreamBuffer.hpp"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace tavrin {

void StreamBuffer::moveTo(std::int64_t offset) {
  position_ = offset;
  dropPassed();
}

void StreamBuffer::restartAt(std::int64_t offset) {
  blocks_.clear();
  start_ = end_ = offset;
}

void StreamBuffer::append(std::span<const std::byte> bytes) {
  while (!bytes.empty()) {
    if (blocks_.empty() || blocks_.back().size() == blockBytes) {
      blocks_.emplace_back().reserve(blockBytes);
    }
    auto& block = blocks_.back();
    const auto part = bytes.first(std::min(bytes.size(), blockBytes - block.size()));
    block.insert(block.end(), part.begin(), part.end());
    end_ += std::ssize(part);
    bytes = bytes.subspan(part.size());
    dropPassed();
  }
}

std::int64_t StreamBuffer::take(std::span<std::byte> room) {
  const auto before = position_;
  auto skipped = position_ - start_;
  for (const auto& block : blocks_) {
    if (room.empty() || skipped < 0) break;
    if (skipped < std::ssize(block)) {
      const auto from = static_cast<std::size_t>(skipped);
      const auto count = std::min(block.size() - from, room.size());
      std::memcpy(room.data(), block.data() + from, count);
      room = room.subspan(count);
      position_ += static_cast<std::int64_t>(count);
      skipped = std::ssize(block);
    }
    skipped -= std::ssize(block);
  }
  dropPassed();
  return position_ - before;
}

void StreamBuffer::dropPassed() {
  while (!blocks_.empty() && start_ + std::ssize(blocks_.front()) <= position_ - keptBehind) {
    start_ += std::ssize(blocks_.front());
    blocks_.pop_front();
  }
}

}  // namespace tavrin
