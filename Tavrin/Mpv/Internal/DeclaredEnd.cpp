#include "Tavrin/Mpv/Internal/DeclaredEnd.hpp"

#include <algorithm>
#include <bit>

#include "Tavrin/Mpv/Internal/BoxType.hpp"

namespace tavrin {

namespace {

constexpr std::uint64_t ebmlHeader = 0x1A45DFA3;
constexpr std::uint64_t segment = 0x18538067;

constexpr std::size_t idSize = 4;

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

DeclaredEnd::DeclaredEnd() { next(0); }

void DeclaredEnd::see(std::int64_t offset, std::span<const std::byte> bytes) {
  while (header_.see(offset, bytes)) takeHeader();
}

void DeclaredEnd::takeHeader() {
  const auto id = header_.number(0, idSize);
  if (id == ebmlHeader || id == segment) return takeElement();
  takeBox();
}

void DeclaredEnd::takeBox() {
  const auto type = header_.number(idSize, idSize);
  if (std::ranges::find(boxes, type) == std::end(boxes)) return;
  auto size = header_.number(0, idSize);
  if (size == 1 && header_.size() == boxHeaderSize) {
    return header_.await(header_.offset(), longBoxHeaderSize);
  }
  if (size == 1) size = header_.number(boxHeaderSize, 8);
  // 0: to the end of the file, wherever that is
  if (size < header_.size() || size > furthestByte) return;
  const auto end = header_.offset() + static_cast<std::int64_t>(size);
  if (isNeeded(type)) end_ = end;
  next(end);
}

void DeclaredEnd::takeElement() {
  const auto first = static_cast<unsigned char>(header_.number(idSize, 1));
  const auto width =
      static_cast<std::size_t>(std::countl_zero(first)) + 1;  // of the size, in bytes
  if (width > 8) return;
  if (idSize + width > header_.size()) return header_.await(header_.offset(), idSize + width);
  const auto unknown = (std::uint64_t{1} << 7 * width) - 1;
  const auto size = header_.number(idSize, width) & unknown;
  if (size == unknown || size > furthestByte) return;
  const auto end = header_.offset() + static_cast<std::int64_t>(idSize + width + size);
  if (header_.number(0, idSize) == segment) {
    end_ = end;
  } else {
    next(end);
  }
}

void DeclaredEnd::next(std::int64_t offset) { header_.await(offset, boxHeaderSize); }

}  // namespace tavrin
