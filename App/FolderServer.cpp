#include "App/FolderServer.hpp"

#include <arpa/inet.h>
#include <fcntl.h>
#include <microhttpd.h>
#include <netinet/in.h>
#include <sys/stat.h>

#include <cerrno>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "App/ByteRange.hpp"
#include "Tavrin/Foundation/FileDescriptor.hpp"

namespace tavrin::app {

namespace {

// Does not wait for a pipe's other end.
FileDescriptor openFile(const std::string& folder, const std::string& path) {
  constexpr int how = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
  return FileDescriptor(::open((folder + "/" + path).c_str(), how));
}

}  // namespace

// The library's callback and what it answers with. Runs on the server's thread.
struct FolderServer::Handler {
  using Response = std::unique_ptr<MHD_Response, void (*)(MHD_Response*)>;

  static MHD_Result answer(void* self, MHD_Connection* connection, const char* url,
                           const char* method, const char*, const char*, size_t*, void**) {
    if (std::string_view(method) != "GET" && std::string_view(method) != "HEAD") {
      return refuse(connection, MHD_HTTP_METHOD_NOT_ALLOWED);
    }
    const auto& server = *static_cast<const FolderServer*>(self);
    // The library has decoded the path.
    const auto served = server.types_.find(std::string_view(url).substr(*url == '/' ? 1 : 0));
    if (served == server.types_.end()) return refuse(connection, MHD_HTTP_NOT_FOUND);
    auto file = openFile(server.folder_, served->first);
    struct stat status{};
    if (!file.isOpen() || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
      return refuse(connection, MHD_HTTP_NOT_FOUND);
    }
    return answer(connection, std::move(file), status.st_size, served->second);
  }

  static MHD_Result answer(MHD_Connection* connection, FileDescriptor file, std::int64_t size,
                           const std::string& contentType) {
    const auto* asked =
        MHD_lookup_connection_value(connection, MHD_HEADER_KIND, MHD_HTTP_HEADER_RANGE);
    const auto range = asked ? parseByteRange(asked, size) : ByteRange::whole(size);
    if (!range) {
      Response response(MHD_create_response_from_buffer(0, nullptr, MHD_RESPMEM_PERSISTENT),
                        MHD_destroy_response);
      add(response, MHD_HTTP_HEADER_CONTENT_RANGE, "bytes */" + std::to_string(size));
      return MHD_queue_response(connection, MHD_HTTP_RANGE_NOT_SATISFIABLE, response.get());
    }
    Response response(MHD_create_response_from_fd_at_offset64(
                          static_cast<std::uint64_t>(range->length), ::dup(file.get()),
                          static_cast<std::uint64_t>(range->offset)),
                      MHD_destroy_response);
    if (!response) return MHD_NO;
    add(response, MHD_HTTP_HEADER_CONTENT_TYPE, contentType);
    add(response, MHD_HTTP_HEADER_ACCEPT_RANGES, "bytes");
    if (!range->isPart) return MHD_queue_response(connection, MHD_HTTP_OK, response.get());
    add(response, MHD_HTTP_HEADER_CONTENT_RANGE, range->header(size));
    return MHD_queue_response(connection, MHD_HTTP_PARTIAL_CONTENT, response.get());
  }

  static MHD_Result refuse(MHD_Connection* connection, unsigned int status) {
    const Response response(MHD_create_response_from_buffer(0, nullptr, MHD_RESPMEM_PERSISTENT),
                            MHD_destroy_response);
    return MHD_queue_response(connection, status, response.get());
  }

  static void add(const Response& response, const char* name, const std::string& value) {
    MHD_add_response_header(response.get(), name, value.c_str());
  }
};

void FolderServer::Stop::operator()(MHD_Daemon* daemon) const { MHD_stop_daemon(daemon); }

FolderServer::FolderServer(std::string folder, const std::vector<File>& files)
    : folder_(std::move(folder)) {
  for (const auto& file : files) types_.emplace(file.path, file.contentType);
}

FolderServer::~FolderServer() = default;

std::optional<Error> FolderServer::whyNot(const std::string& folder, const std::string& path) {
  const auto file = openFile(folder, path);
  const int code = file.isOpen() ? 0 : errno;
  const auto name = "The file \"" + path + "\" ";
  if (code == ENOENT || code == ENOTDIR) return Error(ErrorCode::missing, name + "is missing");
  if (code != 0) {
    return Error(ErrorCode::unreadable,
                 name + "cannot be read: " + std::generic_category().message(code));
  }
  struct stat status{};
  if (::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
    return Error(ErrorCode::unreadable, name + "is no file but a folder, a pipe or a device");
  }
  if (status.st_size == 0) return Error(ErrorCode::unreadable, name + "is empty");
  return std::nullopt;
}

std::variant<std::unique_ptr<FolderServer>, Error> FolderServer::start(
    std::string folder, const std::vector<File>& files) {
  std::unique_ptr<FolderServer> server(new FolderServer(std::move(folder), files));
  sockaddr_in loopback{};
  loopback.sin_family = AF_INET;
  loopback.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  constexpr unsigned int idleSeconds = 60;
  server->daemon_.reset(MHD_start_daemon(
      MHD_USE_AUTO_INTERNAL_THREAD, 0, nullptr, nullptr, &Handler::answer, server.get(),
      MHD_OPTION_SOCK_ADDR, &loopback, MHD_OPTION_CONNECTION_TIMEOUT, idleSeconds, MHD_OPTION_END));
  if (!server->daemon_) return Error{std::generic_category().message(errno)};
  const auto* port = MHD_get_daemon_info(server->daemon_.get(), MHD_DAEMON_INFO_BIND_PORT);
  server->address_ = "http://127.0.0.1:" + std::to_string(port->port) + "/";
  return server;
}

}  // namespace tavrin::app
