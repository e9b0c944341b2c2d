#include "Tavrin/Item/Internal/DownloadedBody.hpp"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <new>
#include <set>
#include <utility>
#include <variant>

#include "Tavrin/Foundation/Executor.hpp"
#include "Tavrin/Foundation/Internal/ScratchFile.hpp"

namespace tavrin {

namespace {

constexpr std::int64_t mebibyte = std::int64_t{1} << 20;

// Large enough that a write costs little beside its bytes, small enough to be held by the dozen.
constexpr std::int64_t pieceBytes = mebibyte / 4;

// What may wait for the disk in one body before its download is held back.
constexpr std::int64_t mostWaiting = 2 * mebibyte;

// A header may promise anything; room beyond this is made as the bytes come.
constexpr std::int64_t mostReserved = 256 * mebibyte;

std::atomic<std::int64_t> memoryLimitBytes = 256 * mebibyte;
std::atomic<std::int64_t> heldBytes = 0;

// The bodies of the process that are whole and wait for the disk, and those that wait for them.
struct WholeBodies {
  static WholeBodies& all() {
    static auto* made = new WholeBodies;  // threads may outlive what ends with the process
    return *made;
  }

  Mutex mutex;
  std::size_t count TAVRIN_GUARDED_BY(mutex) = 0;
  std::set<std::weak_ptr<DownloadedBody>, std::owner_less<>> waiting TAVRIN_GUARDED_BY(mutex);
};

}  // namespace

std::int64_t DownloadedBody::memoryLimit() { return memoryLimitBytes; }
void DownloadedBody::setMemoryLimit(std::int64_t bytes) { memoryLimitBytes = bytes; }

std::shared_ptr<DownloadedBody> DownloadedBody::make(std::string directory, std::int64_t expected,
                                                     Handler hasRoomAgain) {
  return std::shared_ptr<DownloadedBody>(
      new DownloadedBody(std::move(directory), expected, std::move(hasRoomAgain)));
}

std::shared_ptr<DownloadedBody> DownloadedBody::of(Data bytes) {
  auto body = make("", 0, nullptr);
  const LockGuard lock(body->mutex_);
  body->count_ = bytes.count();
  body->written_ = std::move(bytes);
  return body;
}

DownloadedBody::DownloadedBody(std::string directory, std::int64_t expected, Handler hasRoomAgain)
    : directory_(std::move(directory)),
      expected_(expected),
      hasRoomAgain_(std::move(hasRoomAgain)) {}

DownloadedBody::~DownloadedBody() {
  const LockGuard lock(mutex_);
  release(held_);
}

std::int64_t DownloadedBody::count() const {
  const LockGuard lock(mutex_);
  return count_;
}

bool DownloadedBody::hasRoom() const {
  const LockGuard lock(mutex_);
  return isInMemory() || waiting() < mostWaiting;
}

bool DownloadedBody::mustWaitForOthers() {
  if (directory_.empty()) return false;
  auto& whole = WholeBodies::all();
  const LockGuard lock(whole.mutex);
  if (whole.count < mostWholeOnes) return false;
  whole.waiting.insert(weak_from_this());
  return true;
}

std::optional<Error> DownloadedBody::append(std::span<const std::byte> bytes) {
  const auto added = std::ssize(bytes);
  bool writes = false;
  try {
    const LockGuard lock(mutex_);
    if (isInMemory()) {
      if (auto error = holdInMemory(added)) return error;
    }
    pieceForMore().append(bytes);
    count_ += added;
    wasFull_ = wasFull_ || (!isInMemory() && waiting() >= mostWaiting);
    writes = mustWrite();
  } catch (const std::bad_alloc&) {
    return Error{ErrorCode::noMemory, "Not enough memory to hold the video"};
  }
  if (writes) post(&DownloadedBody::writePiece);
  return std::nullopt;
}

Data& DownloadedBody::pieceForMore() {
  const bool isFull = !isInMemory() && !pieces_.empty() && pieces_.back().count() >= pieceBytes;
  if (!pieces_.empty() && !isFull) return pieces_.back();
  auto& piece = pieces_.emplace_back();
  try {
    piece.reserve(isInMemory() ? std::clamp<std::int64_t>(expected_, 0, mostReserved) : pieceBytes);
  } catch (const std::bad_alloc&) {  // NOLINT: growing step by step may still do
  }
  return piece;
}

std::optional<Error> DownloadedBody::holdInMemory(std::int64_t bytes) {
  const auto limit = memoryLimit();
  if (heldBytes.fetch_add(bytes) + bytes <= limit) {
    held_ += bytes;
    return std::nullopt;
  }
  heldBytes -= bytes;
  const bool isFull = failure_ && failure_->code == ErrorCode::noSpace;
  auto text = "There is no room for the video: downloads may hold " +
              std::to_string(limit / mebibyte) + " MiB in memory";
  if (failure_) text += ", and no file takes it: " + failure_->description;
  return Error{isFull ? ErrorCode::noSpace : ErrorCode::noMemory, std::move(text)};
}

void DownloadedBody::release(std::int64_t bytes) {
  heldBytes -= bytes;
  held_ -= bytes;
}

void DownloadedBody::finish(Handler written) {
  if (!directory_.empty()) {
    auto& whole = WholeBodies::all();
    const LockGuard lock(whole.mutex);
    ++whole.count;
  }
  bool writes = false;
  {
    const LockGuard lock(mutex_);
    isFinished_ = true;
    failure_.reset();  // a disk that was full may have room again
    whenWritten_ = std::move(written);
    writes = mustWrite();
    if (isWriting_ && !writes) return;
  }
  if (writes) {
    post(&DownloadedBody::writePiece);
  } else if (directory_.empty()) {
    tellWritten();
  } else {
    post(&DownloadedBody::tellWritten);
  }
}

bool DownloadedBody::mustWrite() {
  const bool isReady = !pieces_.empty() && (isFinished_ || pieces_.front().count() >= pieceBytes);
  if (isWriting_ || isInMemory() || !isReady) return false;
  isWriting_ = true;
  return true;
}

void DownloadedBody::post(void (DownloadedBody::*work)()) {
  Executor::files().post([self = shared_from_this(), work] { (*self.*work)(); });
}

// One piece a turn, so that many bodies share the threads fairly.
void DownloadedBody::writePiece() {
  Data piece;
  std::shared_ptr<ScratchFile> file;
  std::int64_t offset = 0;
  {
    const LockGuard lock(mutex_);
    piece = pieces_.front();
    file = file_;
    offset = written_.count();
  }
  auto error = write(file, offset, piece);
  bool hasRoomAgain = false;
  bool writes = false;
  bool isDone = false;
  {
    const LockGuard lock(mutex_);
    note(file, std::move(error));
    writes = mustWrite();
    isDone = isFinished_ && !writes;
    hasRoomAgain = wasFull_ && (isInMemory() || waiting() <= mostWaiting / 2);
    if (hasRoomAgain) wasFull_ = false;
  }
  if (writes) post(&DownloadedBody::writePiece);
  if (hasRoomAgain && hasRoomAgain_) hasRoomAgain_();
  if (isDone) tellWritten();
}

std::optional<Error> DownloadedBody::write(std::shared_ptr<ScratchFile>& file, std::int64_t offset,
                                           const Data& piece) const {
  if (!file) {
    auto made = ScratchFile::make(directory_);
    if (const auto* error = std::get_if<Error>(&made)) return *error;
    file = std::get<std::shared_ptr<ScratchFile>>(std::move(made));
  }
  return file->write(offset, piece.view());
}

void DownloadedBody::note(const std::shared_ptr<ScratchFile>& file, std::optional<Error> error) {
  isWriting_ = false;
  if (error) {
    failure_ = std::move(error);
    // It is in memory already, and little: only what comes from now on may be refused.
    heldBytes += waiting() - held_;
    held_ = waiting();
    return;
  }
  file_ = file;
  const auto added = pieces_.front().count();
  written_ = Data(file, 0, written_.count() + added);
  pieces_.pop_front();
  release(std::min(held_, added));
}

void DownloadedBody::tellWritten() {
  Handler told;
  {
    const LockGuard lock(mutex_);
    told = std::exchange(whenWritten_, nullptr);
  }
  if (told) told();
  if (!directory_.empty()) letOthersGoOn();
}

void DownloadedBody::letOthersGoOn() {
  auto& whole = WholeBodies::all();
  std::set<std::weak_ptr<DownloadedBody>, std::owner_less<>> waiting;
  {
    const LockGuard lock(whole.mutex);
    --whole.count;
    waiting.swap(whole.waiting);
  }
  for (const auto& each : waiting) {
    const auto body = each.lock();
    if (body && body->hasRoomAgain_) body->hasRoomAgain_();
  }
}

Data DownloadedBody::subdata(std::int64_t offset, std::int64_t length) {
  const LockGuard lock(mutex_);
  if (offset + length <= written_.count()) return written_.subdata(offset, length);
  return Data(shared_from_this(), offset, length);
}

Data DownloadedBody::whole() {
  const LockGuard lock(mutex_);
  if (pieces_.empty()) return written_;
  if (written_.isEmpty() && pieces_.size() == 1) return pieces_.front();
  return Data(shared_from_this(), 0, count_);
}

std::optional<Error> DownloadedBody::read(std::int64_t offset, std::span<std::byte> room) const {
  Data written;
  {
    const LockGuard lock(mutex_);
    written = written_;
    auto start = written.count();
    const auto end = offset + std::ssize(room);
    for (const auto& piece : pieces_) {
      const auto from = std::max(start, offset);
      const auto to = std::min(start + piece.count(), end);
      if (from < to) {
        std::memcpy(room.data() + (from - offset), piece.bytes() + (from - start),
                    static_cast<std::size_t>(to - from));
      }
      start += piece.count();
    }
  }
  const auto before = std::clamp<std::int64_t>(written.count() - offset, 0, std::ssize(room));
  return written.read(offset, room.first(static_cast<std::size_t>(before)));
}

}  // namespace tavrin
