#include "Tavrin/Mpv/Internal/EncryptedTracks.hpp"

#include "Tavrin/Mpv/Internal/BoxType.hpp"

namespace tavrin {

namespace {

// The way to the kinds of samples, from outside.
constexpr std::uint64_t path[] = {boxType("moov"), boxType("trak"), boxType("mdia"),
                                  boxType("minf"), boxType("stbl"), boxType("stsd")};
constexpr std::size_t kinds = std::size(path);  // how deep they lie

constexpr std::int64_t listFieldsSize = 8;      // of `stsd`, in bytes, before the first kind
constexpr std::int64_t pictureFieldsSize = 78;  // of a kind of picture, before its boxes

// Kinds of samples that are always encrypted; others are with a box that tells how (`sinf`).
bool isEncryptedKind(std::uint64_t type) {
  return type == boxType("encv") || type == boxType("enca") || type == boxType("drmi") ||
         type == boxType("drms");
}

}  // namespace

EncryptedTracks::EncryptedTracks() { next(0); }

void EncryptedTracks::see(std::int64_t offset, std::span<const std::byte> bytes) {
  while (header_.see(offset, bytes)) takeHeader();
}

bool EncryptedTracks::has(std::int64_t track) const {
  return track >= 0 && static_cast<std::size_t>(track) < mostTracks &&
         encrypted_[static_cast<std::size_t>(track)];
}

void EncryptedTracks::takeHeader() {
  auto size = header_.number(0, 4);
  if (size == 1 && header_.size() == boxHeaderSize) {
    return header_.await(header_.offset(), longBoxHeaderSize);
  }
  if (size == 1) size = header_.number(boxHeaderSize, 8);
  const auto room = static_cast<std::uint64_t>(end() - header_.offset());
  if (size == 0) size = room;
  if (size < header_.size() || size > room) return next(end());  // no box: what is around it ends
  takeBox(header_.number(4, 4), header_.offset() + static_cast<std::int64_t>(size));
}

void EncryptedTracks::takeBox(std::uint64_t type, std::int64_t end) {
  const bool isKind = depth_ == kinds;
  if (depth_ == deepest ? type == boxType("sinf") : isKind && isEncryptedKind(type)) {
    if (tracks_ <= mostTracks) encrypted_.set(tracks_ - 1);
    return next(end);
  }
  if (depth_ == deepest || (!isKind && type != path[depth_])) return next(end);
  if (type == boxType("trak")) ++tracks_;
  auto contents = header_.offset() + static_cast<std::int64_t>(header_.size());
  if (isKind) contents += pictureFieldsSize;
  if (type == boxType("stsd")) contents += listFieldsSize;
  ends_[depth_++] = end;
  next(contents);
}

// Nothing is of interest behind the index.
void EncryptedTracks::next(std::int64_t offset) {
  const auto header = static_cast<std::int64_t>(boxHeaderSize);
  while (depth_ > 0 && offset + header > end()) {
    offset = end();
    if (--depth_ == 0) return;
  }
  if (depth_ > 0 || offset < static_cast<std::int64_t>(furthestByte)) {
    header_.await(offset, boxHeaderSize);
  }
}

std::int64_t EncryptedTracks::end() const {
  return depth_ > 0 ? ends_[depth_ - 1] : static_cast<std::int64_t>(furthestByte);
}

}  // namespace tavrin
