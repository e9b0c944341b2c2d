#include "Tavrin/Foundation/Internal/FileBytes.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace tavrin {

std::optional<Error> FileBytes::read(std::int64_t offset, std::span<std::byte> room) const {
  while (!room.empty()) {
    const auto got = ::pread(file_.get(), room.data(), room.size(), offset);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      return Error{ErrorCode::unreadable,
                   "Its file cannot be read: " + std::generic_category().message(errno)};
    }
    if (got == 0) return Error{ErrorCode::cutShort, "Its file has become shorter than it was"};
    room = room.subspan(static_cast<std::size_t>(got));
    offset += got;
  }
  return std::nullopt;
}

void FileBytes::expect(std::int64_t offset, std::int64_t length) const {
  static_cast<void>(::posix_fadvise(file_.get(), offset, length, POSIX_FADV_WILLNEED));
}

}  // namespace tavrin
