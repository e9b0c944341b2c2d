#include "Tavrin/Mpv/Internal/MpvStreams.hpp"

#include <mpv/client.h>
#include <mpv/stream_cb.h>

#include <charconv>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "Tavrin/Foundation/Mutex.hpp"
#include "Tavrin/Mpv/Internal/FreedMemory.hpp"

namespace tavrin {

namespace {

constexpr std::string_view protocol = "tavrin-reader";
constexpr std::string_view separator = "://";

class ReaderTable {
 public:
  // Never destroyed: libmpv's threads may use it until the process ends.
  static ReaderTable& shared() {
    static auto* table = new ReaderTable;
    return *table;
  }

  std::uint64_t add(std::shared_ptr<AssetByteReader> reader, bool leavesMemory) {
    const LockGuard lock(mutex_);
    readers_.emplace(++lastId_, Entry{std::move(reader), leavesMemory});
    return lastId_;
  }

  void remove(std::uint64_t id) {
    std::shared_ptr<AssetByteReader> removed;  // released after the lock
    const LockGuard lock(mutex_);
    const auto found = readers_.find(id);
    if (found == readers_.end()) return;
    removed = std::move(found->second.reader);
    readers_.erase(found);
  }

  std::shared_ptr<AssetByteReader> find(std::uint64_t id) {
    const LockGuard lock(mutex_);
    const auto found = readers_.find(id);
    return found == readers_.end() ? nullptr : found->second.reader;
  }

  // Whether its opening has left memory that nobody has given back yet; once.
  bool takeMemory(std::uint64_t id) {
    const LockGuard lock(mutex_);
    const auto found = readers_.find(id);
    return found != readers_.end() && std::exchange(found->second.leavesMemory, false);
  }

 private:
  struct Entry {
    std::shared_ptr<AssetByteReader> reader;
    bool leavesMemory;
  };

  Mutex mutex_;
  std::uint64_t lastId_ TAVRIN_GUARDED_BY(mutex_) = 0;
  std::unordered_map<std::uint64_t, Entry> readers_ TAVRIN_GUARDED_BY(mutex_);
};

std::uintptr_t idOf(void* cookie) { return reinterpret_cast<std::uintptr_t>(cookie); }

std::shared_ptr<AssetByteReader> readerOf(void* cookie) {
  return ReaderTable::shared().find(idOf(cookie));
}

std::int64_t read(void* cookie, char* buffer, std::uint64_t size) {
  const auto reader = readerOf(cookie);
  return reader ? reader->read(std::as_writable_bytes(std::span(buffer, size))) : -1;
}

std::int64_t seek(void* cookie, std::int64_t offset) {
  const auto reader = readerOf(cookie);
  if (reader && reader->seek(offset)) return offset;
  return MPV_ERROR_GENERIC;
}

// The opening thread asks for this once it has found out what the file is. The next opening in the
// same heap has to do without the pages, so this is for those that nobody waits for.
std::int64_t size(void* cookie) {
  if (ReaderTable::shared().takeMemory(idOf(cookie))) giveBackProbedMemory();
  const auto reader = readerOf(cookie);
  const auto length = reader ? reader->size() : std::nullopt;
  return length.value_or(MPV_ERROR_UNSUPPORTED);
}

void cancel(void* cookie) {
  if (const auto reader = readerOf(cookie)) reader->cancel();
}

void close(void*) {}

int open(void*, char* address, mpv_stream_cb_info* info) {
  std::string_view digits = address;
  digits.remove_prefix(std::min(digits.size(), protocol.size() + separator.size()));
  std::uintptr_t id = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), id);
  if (!ReaderTable::shared().find(id)) return MPV_ERROR_LOADING_FAILED;
  info->cookie = reinterpret_cast<void*>(id);  // NOLINT: a number, never followed
  info->read_fn = read;
  info->seek_fn = seek;
  info->size_fn = size;
  info->close_fn = close;
  info->cancel_fn = cancel;
  return 0;
}

}  // namespace

MpvStream::MpvStream(std::shared_ptr<AssetByteReader> reader, Opening opening)
    : reader_(std::move(reader)),
      id_(ReaderTable::shared().add(reader_, opening == Opening::ahead)) {}

MpvStream::~MpvStream() { ReaderTable::shared().remove(id_); }

std::string MpvStream::address() const {
  return std::string(protocol) + std::string(separator) + std::to_string(id_);
}

int MpvStream::addProtocol(mpv_handle* handle) {
  return mpv_stream_cb_add_ro(handle, std::string(protocol).c_str(), nullptr, open);
}

}  // namespace tavrin
