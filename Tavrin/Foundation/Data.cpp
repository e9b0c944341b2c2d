#include "Tavrin/Foundation/Data.hpp"

#include <algorithm>
#include <cstring>
#include <new>
#include <system_error>
#include <tuple>
#include <utility>
#include <vector>

#include "Tavrin/Foundation/ByteSource.hpp"
#include "Tavrin/Foundation/Mutex.hpp"

namespace tavrin {

namespace {

// Two buffers that are compared are read in windows of so many bytes.
constexpr std::int64_t comparedAtOnce = std::int64_t{256} * 1024;

}  // namespace

/// A part of a source, and its bytes in memory once somebody has asked for them there.
class Data::Elsewhere {
 public:
  Elsewhere(std::shared_ptr<const ByteSource> from, std::int64_t start)
      : source(std::move(from)), offset(start) {}

  std::span<const std::byte> inMemory(std::int64_t count) const {
    const LockGuard lock(mutex_);
    if (!fetched_) fetched_ = fetch(count);
    return fetched_ ? fetched_->view() : std::span<const std::byte>();
  }

  const std::shared_ptr<const ByteSource> source;
  const std::int64_t offset;

 private:
  std::optional<Data> fetch(std::int64_t count) const {
    try {
      Data bytes;
      bytes.reserve(count);
      if (source->read(offset, bytes.resize(count))) return std::nullopt;
      return bytes;
    } catch (const std::bad_alloc&) {
      return std::nullopt;
    }
  }

  // Held while the source is read: whoever needs the bytes has to wait for them anyway.
  mutable Mutex mutex_;
  mutable std::optional<Data> fetched_ TAVRIN_GUARDED_BY(mutex_);
};

Data::Data(std::shared_ptr<const ByteSource> source, std::int64_t offset, std::int64_t count) {
  auto& storage = storage_.mutate();
  storage.size = count;
  storage.elsewhere = std::make_shared<const Elsewhere>(std::move(source), offset);
}

std::shared_ptr<const ByteSource> Data::source() const {
  return storage_->elsewhere ? storage_->elsewhere->source : nullptr;
}

std::optional<Error> Data::read(std::int64_t offset, std::span<std::byte> room) const {
  const auto& elsewhere = storage_->elsewhere;
  if (elsewhere) return elsewhere->source->read(elsewhere->offset + offset, room);
  if (!room.empty()) std::memcpy(room.data(), storage_->bytes.get() + offset, room.size());
  return std::nullopt;
}

std::span<const std::byte> Data::view() const {
  if (storage_->elsewhere) return storage_->elsewhere->inMemory(count());
  return {storage_->bytes.get(), static_cast<std::size_t>(count())};
}

std::string_view Data::text() const {
  const auto all = view();
  return {reinterpret_cast<const char*>(all.data()), all.size()};
}

void Data::append(std::span<const std::byte> added) {
  if (added.empty()) return;
  const auto old = count();
  const auto room = resize(old + static_cast<std::int64_t>(added.size()));
  std::memcpy(room.data() + old, added.data(), added.size());
}

std::span<std::byte> Data::resize(std::int64_t newCount) {
  auto& storage = owned();
  if (newCount > storage.capacity) storage.grow(newCount);
  storage.size = newCount;
  return {storage.bytes.get(), static_cast<std::size_t>(newCount)};
}

Data Data::subdata(std::int64_t offset, std::int64_t length) const {
  if (const auto& elsewhere = storage_->elsewhere) {
    return Data(elsewhere->source, elsewhere->offset + offset, length);
  }
  Data part;
  part.reserve(length);
  part.append(view().subspan(static_cast<std::size_t>(offset), static_cast<std::size_t>(length)));
  return part;
}

bool operator==(const Data& a, const Data& b) {
  if (a.storage_.sharesStorageWith(b.storage_)) return true;
  if (a.count() != b.count()) return false;
  if (!a.source() && !b.source()) return std::ranges::equal(a.view(), b.view());
  std::vector<std::byte> ours(static_cast<std::size_t>(std::min(a.count(), comparedAtOnce)));
  auto theirs = ours;
  for (std::int64_t at = 0; at < a.count(); at += comparedAtOnce) {
    const auto size = static_cast<std::size_t>(std::min(comparedAtOnce, a.count() - at));
    ours.resize(size);
    theirs.resize(size);
    if (a.read(at, ours) || b.read(at, theirs) || ours != theirs) return false;
  }
  return true;
}

Data::Storage& Data::owned() {
  auto& storage = storage_.mutate();
  if (storage.elsewhere) storage.fetch();
  return storage;
}

Data::Storage::Storage(const Storage& other) {
  size = other.size;
  elsewhere = other.elsewhere;
  if (elsewhere || size == 0) return;
  reserve(size);
  std::memcpy(bytes.get(), other.bytes.get(), static_cast<std::size_t>(size));
}

void Data::Storage::fetch() {
  reserve(size);
  const std::span room{bytes.get(), static_cast<std::size_t>(size)};
  if (const auto error = elsewhere->source->read(elsewhere->offset, room)) {
    throw std::system_error(std::make_error_code(std::errc::io_error), error->description);
  }
  elsewhere.reset();
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
