#include "Tavrin/Curl/Request.hpp"

#include <linux/socket.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <strings.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <string>

#include "Tavrin/Curl/PartAnswer.hpp"

namespace tavrin::curl {

namespace {

// What a transfer may receive beyond its limit, and what curl itself holds.
constexpr long receiveBufferBytes = 32L * 1024;
constexpr long mostRedirects = 20;
constexpr const char* schemes = "http,https";
constexpr const char* userAgent = "Tavrin/" TAVRIN_VERSION;

template <class... Arguments>
bool set(CURL* handle, CURLoption option, Arguments... arguments) {
  return curl_easy_setopt(handle, option, arguments...) == CURLE_OK;
}

// Whom no proxy is asked for: whom the environment names, and this machine.
std::string directHosts(const URLSessionConfiguration& configuration) {
  const char* named = std::getenv("no_proxy");
  if (named == nullptr) named = std::getenv("NO_PROXY");
  std::string hosts = named == nullptr ? "" : named;
  // Alone, it names every host.
  if (hosts == "*" || configuration.sendsLoopbackToProxy) return hosts;
  return hosts + (hosts.empty() ? "" : ",") + "localhost,127.0.0.0/8,::1";
}

std::size_t onHeader(char* line, std::size_t size, std::size_t count, void* receiver) {
  const auto bytes = size * count;
  return static_cast<RequestReceiver*>(receiver)->receiveHeader({line, bytes}) ? bytes : 0;
}

// The result is 0 for no bytes too, of which curl has none.
std::size_t onBody(char* body, std::size_t size, std::size_t count, void* receiver) {
  const auto bytes = std::as_bytes(std::span(body, size * count));
  return static_cast<RequestReceiver*>(receiver)->receiveBody(bytes) ? bytes.size() : 0;
}

// The result is 0 to go on.
int onProgress(void* receiver, curl_off_t, curl_off_t received, curl_off_t, curl_off_t) {
  return static_cast<RequestReceiver*>(receiver)->mayGoOn(received) ? 0 : 1;
}

constexpr std::int64_t mostOfAll = std::numeric_limits<int>::max();

void setSocket(curl_socket_t socket, int level, int option, std::int64_t value) {
  const auto number = static_cast<int>(std::min(value, mostOfAll));
  ::setsockopt(socket, level, option, &number, sizeof number);
}

int onSocket(void* opened, curl_socket_t socket, curlsocktype) {
  *static_cast<curl_socket_t*>(opened) = socket;
  return CURL_SOCKOPT_OK;
}

long portOf(const sockaddr_storage& address) {
  if (address.ss_family == AF_INET6) {
    return ntohs(reinterpret_cast<const sockaddr_in6&>(address).sin6_port);
  }
  return ntohs(reinterpret_cast<const sockaddr_in&>(address).sin_port);
}

}  // namespace

std::unique_ptr<Request> Request::make(const URLRequest& asked,
                                       const URLSessionConfiguration& configuration,
                                       RequestReceiver& receiver) {
  std::unique_ptr<Request> request(new Request);
  request->handle_.reset(curl_easy_init());
  const bool isMade = request->handle() != nullptr && request->setUp(asked, configuration) &&
                      request->setRules(configuration) && request->setReceiver(receiver);
  return isMade ? std::move(request) : nullptr;
}

bool Request::addHeader(const char* line) {
  auto* longer = curl_slist_append(headers_.get(), line);
  if (longer == nullptr) return false;
  static_cast<void>(headers_.release());
  headers_.reset(longer);
  return true;
}

bool Request::setUp(const URLRequest& asked, const URLSessionConfiguration& configuration) {
  using Policy = URLSessionConfiguration::RequestCachePolicy;
  const bool isFresh =
      configuration.requestCachePolicy == Policy::reloadIgnoringLocalAndRemoteCacheData;
  for (const auto& line : partHeaders(asked)) {
    if (!addHeader(line.c_str())) return false;
  }
  return addHeader("Accept-Encoding: identity") &&
         (!isFresh || addHeader("Cache-Control: no-cache")) &&
         set(handle(), CURLOPT_HTTPHEADER, headers_.get()) &&
         set(handle(), CURLOPT_USERAGENT, userAgent) &&
         set(handle(), CURLOPT_ERRORBUFFER, errorText_.data()) &&
         set(handle(), CURLOPT_BUFFERSIZE, receiveBufferBytes) &&
         set(handle(), CURLOPT_SOCKOPTFUNCTION, onSocket) &&
         set(handle(), CURLOPT_SOCKOPTDATA, &socket_) &&
         set(handle(), CURLOPT_URL, asked.url.absoluteString().c_str());
}

bool Request::setRules(const URLSessionConfiguration& configuration) {
  const auto direct = directHosts(configuration);
  // One transfer to a connection: a paused one must neither hold up another nor be buffered. And
  // none after it, for what a server leaves behind an answer would be taken for the next one's.
  return set(handle(), CURLOPT_HTTP_VERSION, long{CURL_HTTP_VERSION_1_1}) &&
         set(handle(), CURLOPT_FORBID_REUSE, 1L) && set(handle(), CURLOPT_PROTOCOLS_STR, schemes) &&
         set(handle(), CURLOPT_REDIR_PROTOCOLS_STR, schemes) &&
         set(handle(), CURLOPT_FOLLOWLOCATION, 1L) &&
         set(handle(), CURLOPT_MAXREDIRS, mostRedirects) &&
         set(handle(), CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L) &&
         set(handle(), CURLOPT_NOPROXY, direct.c_str()) &&
         // Letting go of a transfer does not wait for its name server.
         set(handle(), CURLOPT_QUICK_EXIT, 1L) && set(handle(), CURLOPT_NOSIGNAL, 1L);
}

bool Request::setReceiver(RequestReceiver& receiver) {
  return set(handle(), CURLOPT_HEADERFUNCTION, onHeader) &&
         set(handle(), CURLOPT_HEADERDATA, &receiver) &&
         set(handle(), CURLOPT_WRITEFUNCTION, onBody) &&
         set(handle(), CURLOPT_WRITEDATA, &receiver) &&
         set(handle(), CURLOPT_XFERINFOFUNCTION, onProgress) &&
         set(handle(), CURLOPT_XFERINFODATA, &receiver) && set(handle(), CURLOPT_NOPROGRESS, 0L);
}

void Request::followRedirect() {
  const char* scheme = nullptr;
  curl_easy_getinfo(handle(), CURLINFO_SCHEME, &scheme);
  if (scheme == nullptr || strcasecmp(scheme, "https") != 0) return;
  isSecure_ = true;
  set(handle(), CURLOPT_REDIR_PROTOCOLS_STR, "https");
}

// curl tells of no socket while it is used. The last one that it opened may have lost a race to
// another address of the same server.
bool Request::isConnected() const {
  long port = 0;
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  if (curl_easy_getinfo(handle(), CURLINFO_LOCAL_PORT, &port) != CURLE_OK || port == 0 ||
      ::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    return false;
  }
  return port == portOf(address);
}

// What the system has chosen is kept, for when it enlarges the buffer, it does so to the window as
// well. A size that is set sets the window too, so that comes last.
void Request::setWindow(std::optional<std::int64_t> bytes, std::optional<std::int64_t> room) {
  if (!isConnected()) return;
  if (room) {
    setSocket(socket_, SOL_SOCKET, SO_RCVBUF, *room);
  } else if (hasRoom_) {
    setSocket(socket_, SOL_SOCKET, SO_RCVBUF, mostOfAll);
  }
  hasRoom_ = room.has_value();
  setSocket(socket_, SOL_SOCKET, SO_BUF_LOCK, bytes ? SOCK_RCVBUF_LOCK : 0);
  setSocket(socket_, IPPROTO_TCP, TCP_WINDOW_CLAMP, bytes.value_or(mostOfAll));
}

std::chrono::microseconds Request::delay() const {
  curl_off_t begun = 0, lookedUp = 0;
  curl_easy_getinfo(handle(), CURLINFO_STARTTRANSFER_TIME_T, &begun);
  curl_easy_getinfo(handle(), CURLINFO_NAMELOOKUP_TIME_T, &lookedUp);
  return std::chrono::microseconds(begun - lookedUp);
}

bool Request::isLookingUpName() const {
  curl_off_t microseconds = 0;
  curl_easy_getinfo(handle(), CURLINFO_NAMELOOKUP_TIME_T, &microseconds);
  return microseconds == 0;
}

}  // namespace tavrin::curl
