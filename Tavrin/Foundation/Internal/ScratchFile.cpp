#include "Tavrin/Foundation/Internal/ScratchFile.hpp"

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <system_error>
#include <utility>

#include "Tavrin/Foundation/UUID.hpp"

namespace tavrin {

namespace {

constexpr std::string_view temporaryPrefix = ".tavrin-partial-";

// The disk is set to work on what has been written by so many bytes, so that little is left to be
// flushed when the file is kept.
constexpr std::int64_t writtenBackAtOnce = std::int64_t{8} << 20;

// How often a new file may be taken for a leftover, and deleted, before it is locked.
constexpr int mostAttempts = 100;

ErrorCode codeOf(int number) {
  switch (number) {
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return ErrorCode::noSpace;
    case EMFILE:
    case ENFILE:
    case ENOMEM:
      return ErrorCode::noMemory;
    case ENOENT:
      return ErrorCode::missing;
    default:
      return ErrorCode::other;
  }
}

Error errorOf(int number, const std::string& what) {
  return {codeOf(number), what + ": " + std::generic_category().message(number)};
}

std::string descriptorPath(int file) { return "/proc/self/fd/" + std::to_string(file); }

// Without the system's list of descriptors such a file could never be given a name.
FileDescriptor openUnnamed(const std::string& directory) {
  FileDescriptor file(::open(directory.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, S_IRUSR | S_IWUSR));
  struct stat found{};
  const bool canBeLinked = file.isOpen() && ::stat(descriptorPath(file.get()).c_str(), &found) == 0;
  return canBeLinked ? std::move(file) : FileDescriptor(-1);
}

// A temporary file is locked while it is written, which tells it from one whose writer was killed.
// It may be taken for such a one, and deleted, between its creation and its locking; then another
// is made.
FileDescriptor openTemporary(const std::string& directory, std::string& path) {
  for (int i = 0; i < mostAttempts; ++i) {
    path = directory + "/" + std::string(temporaryPrefix) + "XXXXXX";
    FileDescriptor file(::mkostemp(path.data(), O_CLOEXEC));
    struct stat made{};
    const bool isLocked = file.isOpen() && ::flock(file.get(), LOCK_EX) == 0;
    if (!isLocked || ::fstat(file.get(), &made) != 0 || made.st_nlink > 0) return file;
  }
  errno = EBUSY;
  return FileDescriptor(-1);
}

/// Keeps the signal that a limit on the size of files raises from the process while it lives.
class NoSizeSignal {
 public:
  NoSizeSignal() {
    ::sigemptyset(&only_);
    ::sigaddset(&only_, SIGXFSZ);
    ::pthread_sigmask(SIG_BLOCK, &only_, &before_);
  }
  ~NoSizeSignal() {
    if (::sigismember(&before_, SIGXFSZ) == 1) return;
    const timespec now{0, 0};
    ::sigtimedwait(&only_, nullptr, &now);
    ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  NoSizeSignal(const NoSizeSignal&) = delete;
  NoSizeSignal& operator=(const NoSizeSignal&) = delete;

 private:
  sigset_t only_{};
  sigset_t before_{};
};

}  // namespace

std::variant<std::shared_ptr<ScratchFile>, Error> ScratchFile::make(const std::string& directory) {
  std::string path;
  auto unnamed = openUnnamed(directory);
  auto file = unnamed.isOpen() ? std::move(unnamed) : openTemporary(directory, path);
  if (!file.isOpen()) return errorOf(errno, "cannot make a file in " + directory);
  return std::shared_ptr<ScratchFile>(new ScratchFile(std::move(file), directory, std::move(path)));
}

ScratchFile::~ScratchFile() {
  if (!temporaryPath_.empty() && !isKept_) ::unlink(temporaryPath_.c_str());
}

std::optional<Error> ScratchFile::write(std::int64_t offset, std::span<const std::byte> bytes) {
  const NoSizeSignal guard;
  while (!bytes.empty()) {
    const auto written = ::pwrite(bytes_.descriptor(), bytes.data(), bytes.size(), offset);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return errorOf(errno, "cannot write to " + directory_);
    const auto begun = offset / writtenBackAtOnce;
    offset += written;
    const auto done = offset / writtenBackAtOnce;
    if (done > begun) {
      ::sync_file_range(bytes_.descriptor(), begun * writtenBackAtOnce,
                        (done - begun) * writtenBackAtOnce, SYNC_FILE_RANGE_WRITE);
    }
    bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
  return std::nullopt;
}

bool ScratchFile::canBeKept(const std::string& directory, std::int64_t count) const {
  struct stat found{};
  return directory == directory_ && !isKept_ && ::fstat(bytes_.descriptor(), &found) == 0 &&
         found.st_size == count;
}

std::optional<Error> ScratchFile::keepAs(const std::string& name) const {
  const auto path = directory_ + "/" + name;
  if (::fdatasync(bytes_.descriptor()) == 0) {
    isKept_ = temporaryPath_.empty() ? link(path) || (errno == EEXIST && linkInPlaceOf(path))
                                     : ::rename(temporaryPath_.c_str(), path.c_str()) == 0;
    if (isKept_) return std::nullopt;
  }
  return errorOf(errno, "cannot write " + path);
}

bool ScratchFile::link(const std::string& path) const {
  return ::linkat(AT_FDCWD, descriptorPath(bytes_.descriptor()).c_str(), AT_FDCWD, path.c_str(),
                  AT_SYMLINK_FOLLOW) == 0;
}

// No call links a file in the place of another: it gets a temporary name, and that is renamed. The
// lock says meanwhile that the name is no leftover.
bool ScratchFile::linkInPlaceOf(const std::string& path) const {
  const auto temporary = directory_ + "/" + std::string(temporaryPrefix) + UUID::random().text();
  if (::flock(bytes_.descriptor(), LOCK_EX) != 0 || !link(temporary)) return false;
  if (::rename(temporary.c_str(), path.c_str()) == 0) return true;
  const auto reason = errno;
  ::unlink(temporary.c_str());
  errno = reason;
  return false;
}

bool ScratchFile::isTemporaryName(std::string_view name) {
  return name.starts_with(temporaryPrefix);
}

}  // namespace tavrin
