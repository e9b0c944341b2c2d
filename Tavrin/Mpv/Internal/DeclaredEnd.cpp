#include "Tavrin/Mpv/Internal/DeclaredEnd.hpp"

#include <algorithm>
#include <bit>
#include <string_view>
#include <utility>

namespace tavrin {

namespace {

// No part of a file reaches further; a number beyond it is no length.
constexpr std::uint64_t furthest = std::uint64_t{1} << 60;

constexpr std::uint64_t ebmlHeader = 0x1A45DFA3;
constexpr std::uint64_t segment = 0x18538067;

constexpr std::size_t idSize = 4;
constexpr std::size_t boxHeaderSize = 8;
constexpr std::size_t longBoxHeaderSize = 16;

// The numbers of MP4's outermost parts are four letters each.
constexpr std::uint64_t boxType(std::string_view name) {
  std::uint64_t type = 0;
  for (const char letter : name) type = type << 8 | static_cast<unsigned char>(letter);
  return type;
}

// What may stand outermost in a file of this kind.
constexpr std::uint64_t boxes[] = {
    boxType("ftyp"), boxType("moov"), boxType("mdat"), boxType("moof"), boxType("styp"),
    boxType("sidx"), boxType("free"), boxType("skip"), boxType("wide"), boxType("mfra"),
    boxType("meta"), boxType("uuid"), boxType("pdin"), boxType("emsg"), boxType("prft")};

// A file without the end of another part plays all the same.
bool isNeeded(std::uint64_t box) {
  return box == boxType("moov") || box == boxType("moof") || box == boxType("mdat");
}

}  // namespace

void DeclaredEnd::see(std::int64_t offset, std::span<const std::byte> bytes) {
  const auto count = static_cast<std::int64_t>(bytes.size());
  while (next_) {
    const auto wanted = *next_ + static_cast<std::int64_t>(seen_) - offset;
    if (wanted < 0 || wanted >= count) return;
    const auto from = static_cast<std::size_t>(wanted);
    const auto taken = std::min(needed_ - seen_, bytes.size() - from);
    std::copy_n(&bytes[from], taken, &header_[seen_]);
    seen_ += taken;
    if (seen_ == needed_) takeHeader();
  }
}

void DeclaredEnd::takeHeader() {
  const auto id = number(0, idSize);
  if (id == ebmlHeader || id == segment) return takeElement();
  takeBox();
}

void DeclaredEnd::takeBox() {
  const auto at = std::exchange(next_, std::nullopt).value();
  const auto type = number(idSize, idSize);
  if (std::ranges::find(boxes, type) == std::end(boxes)) return;
  auto size = number(0, idSize);
  if (size == 1 && needed_ == boxHeaderSize) {
    needed_ = longBoxHeaderSize;
    next_ = at;
    return;
  }
  if (size == 1) size = number(boxHeaderSize, 8);
  if (size < needed_ || size > furthest) return;  // 0: to the end of the file, wherever that is
  next_ = at + static_cast<std::int64_t>(size);
  if (isNeeded(type)) end_ = next_;
  needed_ = boxHeaderSize;
  seen_ = 0;
}

void DeclaredEnd::takeElement() {
  const auto at = std::exchange(next_, std::nullopt).value();
  const auto first = std::to_integer<unsigned char>(header_[idSize]);
  const auto width =
      static_cast<std::size_t>(std::countl_zero(first)) + 1;  // of the size, in bytes
  if (width > 8) return;
  if (idSize + width > needed_) {
    needed_ = idSize + width;
    next_ = at;
    return;
  }
  const auto unknown = (std::uint64_t{1} << 7 * width) - 1;
  const auto size = number(idSize, width) & unknown;
  if (size == unknown || size > furthest) return;
  const auto end = at + static_cast<std::int64_t>(idSize + width + size);
  if (number(0, idSize) == segment) {
    end_ = end;
    return;
  }
  next_ = end;
  needed_ = boxHeaderSize;
  seen_ = 0;
}

std::uint64_t DeclaredEnd::number(std::size_t from, std::size_t count) const {
  std::uint64_t result = 0;
  for (std::size_t i = from; i < from + count; ++i) {
    result = result << 8 | std::to_integer<std::uint64_t>(header_[i]);
  }
  return result;
}

}  // namespace tavrin
