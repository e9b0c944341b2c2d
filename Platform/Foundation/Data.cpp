#include "Platform/Foundation/Data.hpp"

#include <algorithm>
#include <cstring>
#include <new>
#include <tuple>

namespace tavrin {

std::string_view Data::text() const {
  return {reinterpret_cast<const char*>(bytes()), static_cast<std::size_t>(count())};
}

void Data::append(std::span<const std::byte> added) {
  if (added.empty()) return;
  const auto old = count();
  const auto room = resize(old + static_cast<std::int64_t>(added.size()));
  std::memcpy(room.data() + old, added.data(), added.size());
}

std::span<std::byte> Data::resize(std::int64_t newCount) {
  auto& storage = storage_.mutate();
  if (newCount > storage.capacity) storage.grow(newCount);
  storage.size = newCount;
  return {storage.bytes.get(), static_cast<std::size_t>(newCount)};
}

Data Data::subdata(std::int64_t offset, std::int64_t length) const {
  Data part;
  part.reserve(length);
  part.append(view().subspan(static_cast<std::size_t>(offset), static_cast<std::size_t>(length)));
  return part;
}

bool operator==(const Data& a, const Data& b) {
  return a.storage_.sharesStorageWith(b.storage_) || std::ranges::equal(a.view(), b.view());
}

Data::Storage::Storage(const Storage& other) {
  reserve(other.size);
  size = other.size;
  if (size > 0) std::memcpy(bytes.get(), other.bytes.get(), static_cast<std::size_t>(size));
}

void Data::Storage::reserve(std::int64_t wanted) {
  if (wanted <= capacity) return;
  auto* moved = std::realloc(bytes.get(), static_cast<std::size_t>(wanted));
  if (moved == nullptr) throw std::bad_alloc();
  std::ignore = bytes.release();  // realloc has freed it
  bytes.reset(static_cast<std::byte*>(moved));
  capacity = wanted;
}

// Doubling costs address space only: pages are not backed before they are written.
void Data::Storage::grow(std::int64_t needed) {
  reserve(std::max({needed, capacity * 2, std::int64_t{4096}}));
}

}  // namespace tavrin
