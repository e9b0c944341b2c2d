#include "App/TextFile.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

#include "Tavrin/Foundation/FileDescriptor.hpp"

namespace tavrin::app {

namespace {

Error systemError() {
  const auto code = errno == ENOENT ? ErrorCode::missing : ErrorCode::unreadable;
  return {code, std::generic_category().message(errno)};
}

}  // namespace

std::variant<std::string, Error> readTextFile(const std::string& path) {
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
  if (!file.isOpen()) return systemError();
  std::string text;
  for (std::array<char, 64 << 10> part{};;) {
    const auto count = ::read(file.get(), part.data(), part.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return systemError();
    if (count == 0) return text;
    text.append(part.data(), static_cast<std::size_t>(count));
    if (text.size() > textFileLimit) return Error(ErrorCode::tooLarge, "It is larger than 4 MiB");
  }
}

}  // namespace tavrin::app
