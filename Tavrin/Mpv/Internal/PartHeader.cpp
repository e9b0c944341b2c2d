#include "Tavrin/Mpv/Internal/PartHeader.hpp"

#include <algorithm>
#include <utility>

namespace tavrin {

void PartHeader::await(std::int64_t offset, std::size_t size) {
  if (std::exchange(offset_, offset) != offset) seen_ = 0;
  needed_ = std::min(size, limit);
  isAwaited_ = true;
}

bool PartHeader::see(std::int64_t offset, std::span<const std::byte> bytes) {
  if (!isAwaited_) return false;
  const auto wanted = offset_ + static_cast<std::int64_t>(seen_) - offset;
  if (wanted < 0 || wanted >= static_cast<std::int64_t>(bytes.size())) return false;
  const auto from = static_cast<std::size_t>(wanted);
  const auto taken = std::min(needed_ - seen_, bytes.size() - from);
  std::copy_n(&bytes[from], taken, &bytes_[seen_]);
  seen_ += taken;
  isAwaited_ = seen_ < needed_;
  return !isAwaited_;
}

std::uint64_t PartHeader::number(std::size_t from, std::size_t count) const {
  std::uint64_t result = 0;
  for (std::size_t i = from; i < from + count; ++i) {
    result = result << 8 | std::to_integer<std::uint64_t>(bytes_[i]);
  }
  return result;
}

}  // namespace tavrin
