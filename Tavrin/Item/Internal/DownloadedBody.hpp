#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "Tavrin/Foundation/ByteSource.hpp"
#include "Tavrin/Foundation/Data.hpp"
#include "Tavrin/Foundation/Mutex.hpp"

namespace tavrin {

class ScratchFile;

/// The bytes of one video, from the first to the last that has come.
///
/// With a directory they are written, as they come, into a file there that has no name, on
/// `Executor::files()`. What is not written yet is in memory, and is read from there: nobody waits
/// for a write. When a file takes no more, and without a directory, they stay in memory, of which
/// the bodies of a process have a bounded share. Any thread; `append` and `finish` one at a time.
class DownloadedBody final : public ByteSource,
                             public std::enable_shared_from_this<DownloadedBody> {
 public:
  /// What whoever fills a body hears of it, on a thread of `Executor::files()`.
  using Handler = std::function<void()>;

  /// An empty body. An empty directory's name stands for none. `expected`, in bytes, is a hint and
  /// may be wrong. `hasRoomAgain` is called when there is room after there was none.
  static std::shared_ptr<DownloadedBody> make(std::string directory, std::int64_t expected,
                                              Handler hasRoomAgain);
  /// A body that is whole.
  static std::shared_ptr<DownloadedBody> of(Data bytes);
  ~DownloadedBody() override;

  /// How many bytes have come.
  std::int64_t count() const;
  /// Takes more bytes, however little room there is. Returns why they can be held nowhere.
  std::optional<Error> append(std::span<const std::byte> bytes);
  /// Whether as little waits to be written that more should come.
  bool hasRoom() const;
  /// Whether so many other bodies are whole and wait for the disk that this one, unless somebody
  /// reads it, should wait for them: each holds a descriptor, and some memory. If so,
  /// `hasRoomAgain` is called once one of them is done. Never without a directory.
  bool mustWaitForOthers();
  /// No more will come. Calls `written` when the file has all that it takes; without a directory on
  /// the calling thread, before returning. Until `written` has returned the body waits for the
  /// disk.
  void finish(Handler written);

  /// A part of what has come. Nothing is read, and nothing copied but from memory.
  Data subdata(std::int64_t offset, std::int64_t length);
  /// All that has come.
  Data whole();
  std::optional<Error> read(std::int64_t offset, std::span<std::byte> room) const override;

  /// How many whole bodies of this process may wait for the disk before others have to wait.
  static constexpr std::size_t mostWholeOnes = 16;
  /// The most bytes that bodies of this process may hold in memory because no file takes them.
  static std::int64_t memoryLimit();
  static void setMemoryLimit(std::int64_t bytes);

 private:
  DownloadedBody(std::string directory, std::int64_t expected, Handler hasRoomAgain);

  bool isInMemory() const TAVRIN_REQUIRES(mutex_) { return directory_.empty() || failure_; }
  std::int64_t waiting() const TAVRIN_REQUIRES(mutex_) { return count_ - written_.count(); }
  Data& pieceForMore() TAVRIN_REQUIRES(mutex_);
  std::optional<Error> holdInMemory(std::int64_t bytes) TAVRIN_REQUIRES(mutex_);
  void release(std::int64_t bytes) TAVRIN_REQUIRES(mutex_);

  // Whether a piece is to be written; then `post` has to follow, without the lock.
  bool mustWrite() TAVRIN_REQUIRES(mutex_);
  void post(void (DownloadedBody::*work)());
  void writePiece();
  std::optional<Error> write(std::shared_ptr<ScratchFile>& file, std::int64_t offset,
                             const Data& piece) const;
  void note(const std::shared_ptr<ScratchFile>& file, std::optional<Error> error)
      TAVRIN_REQUIRES(mutex_);
  void tellWritten();
  static void letOthersGoOn();

  const std::string directory_;
  const std::int64_t expected_;
  const Handler hasRoomAgain_;

  mutable Mutex mutex_;
  // Either given, or the part of the file that has been written. The pieces follow it.
  Data written_ TAVRIN_GUARDED_BY(mutex_);
  std::deque<Data> pieces_ TAVRIN_GUARDED_BY(mutex_);
  std::int64_t count_ TAVRIN_GUARDED_BY(mutex_) = 0;
  std::shared_ptr<ScratchFile> file_ TAVRIN_GUARDED_BY(mutex_);  // absent before the first write
  std::optional<Error> failure_ TAVRIN_GUARDED_BY(mutex_);       // of the file
  std::int64_t held_ TAVRIN_GUARDED_BY(mutex_) = 0;  // bytes of the process's share of memory
  bool isWriting_ TAVRIN_GUARDED_BY(mutex_) = false;
  bool isFinished_ TAVRIN_GUARDED_BY(mutex_) = false;
  bool wasFull_ TAVRIN_GUARDED_BY(mutex_) = false;
  Handler whenWritten_ TAVRIN_GUARDED_BY(mutex_);
};

}  // namespace tavrin
