#include "Platform/Curl/Transfer.hpp"

#include <algorithm>
#include <cctype>
#include <utility>

#include "Platform/Curl/ResponseHead.hpp"
#include "Platform/Curl/TransferError.hpp"

namespace tavrin::curl {

namespace {

// What a transfer may receive beyond its limit, and what curl itself holds.
constexpr long receiveBufferBytes = 32L * 1024;
constexpr long mostRedirects = 20;
constexpr const char* schemes = "http,https";

template <class... Arguments>
bool set(CURL* handle, CURLoption option, Arguments... arguments) {
  return curl_easy_setopt(handle, option, arguments...) == CURLE_OK;
}

}  // namespace

std::shared_ptr<Transfer> Transfer::make(const URL& url,
                                         const URLSessionConfiguration& configuration,
                                         const TransferLimits& limits) {
  return std::shared_ptr<Transfer>(new Transfer(url, configuration, limits));
}

void Transfer::start(std::shared_ptr<TransferClient> client) {
  TransferThread::shared().post(
      [self = shared_from_this(), client = std::move(client)] { self->begin(client); });
}

void Transfer::stop() {
  TransferThread::shared().post([self = shared_from_this()] {
    self->isOver_ = true;
    TransferThread::shared().remove(self->handle());
  });
}

void Transfer::proceed() {
  TransferThread::shared().post([self = shared_from_this()] {
    if (self->isOver_ || !std::exchange(self->isPaused_, false)) return;
    self->lastByte_ = Clock::now();
    // May offer bytes from inside this call.
    const auto result = curl_easy_pause(self->handle(), CURLPAUSE_CONT);
    if (result == CURLE_OK) return;
    self->end(result);
    TransferThread::shared().remove(self->handle());
  });
}

void Transfer::begin(std::shared_ptr<TransferClient> client) {
  if (isOver_) return;
  client_ = std::move(client);
  lastByte_ = Clock::now();
  auto result = CURLE_OK;
  if (auto objection = unsupportedScheme()) {
    fail(std::move(*objection));
  } else if (result = configure(); result == CURLE_OK) {
    const auto added = TransferThread::shared().add(shared_from_this());
    if (added == CURLM_OK) return;
    fail(curl_multi_strerror(added));
  }
  end(result);
  release();
}

// curl takes an address without a scheme for one of http.
std::optional<std::string> Transfer::unsupportedScheme() const {
  auto scheme = url_.scheme();
  if (!scheme) return "the address has no scheme";
  std::ranges::transform(*scheme, scheme->begin(),
                         [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (*scheme == "http" || *scheme == "https") return {};
  return "the scheme \"" + *scheme + "\" is not supported";
}

CURLcode Transfer::configure() {
  handle_.reset(curl_easy_init());
  CURL* handle = handle_.get();
  if (handle == nullptr) return CURLE_OUT_OF_MEMORY;

  auto* headers = curl_slist_append(nullptr, "Accept-Encoding: identity");
  using Policy = URLSessionConfiguration::RequestCachePolicy;
  if (configuration_.requestCachePolicy == Policy::reloadIgnoringLocalAndRemoteCacheData) {
    headers = curl_slist_append(headers, "Cache-Control: no-cache");
  }
  headers_.reset(headers);

  using Callback = std::size_t (*)(char*, std::size_t, std::size_t, void*);
  const Callback onHeader = [](char* line, std::size_t size, std::size_t count, void* self) {
    const auto bytes = size * count;
    return static_cast<Transfer*>(self)->receiveHeader({line, bytes}) ? bytes : 0;
  };
  const Callback onBody = [](char* body, std::size_t size, std::size_t count, void* self) {
    return static_cast<Transfer*>(self)->receiveBody(std::as_bytes(std::span(body, size * count)));
  };

  // One transfer to a connection: a paused one must neither hold up another nor be buffered.
  const bool isSet =
      set(handle, CURLOPT_HTTP_VERSION, long{CURL_HTTP_VERSION_1_1}) &&
      set(handle, CURLOPT_HTTPHEADER, headers) && set(handle, CURLOPT_PROTOCOLS_STR, schemes) &&
      set(handle, CURLOPT_REDIR_PROTOCOLS_STR, schemes) &&
      set(handle, CURLOPT_FOLLOWLOCATION, 1L) && set(handle, CURLOPT_MAXREDIRS, mostRedirects) &&
      set(handle, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L) && set(handle, CURLOPT_NOSIGNAL, 1L) &&
      set(handle, CURLOPT_BUFFERSIZE, receiveBufferBytes) &&
      set(handle, CURLOPT_ERRORBUFFER, errorText_.data()) &&
      set(handle, CURLOPT_HEADERFUNCTION, onHeader) && set(handle, CURLOPT_HEADERDATA, this) &&
      set(handle, CURLOPT_WRITEFUNCTION, onBody) && set(handle, CURLOPT_WRITEDATA, this);
  if (!isSet) return CURLE_FAILED_INIT;
  return curl_easy_setopt(handle, CURLOPT_URL, url_.absoluteString().c_str());
}

TransferThread::Clock::time_point Transfer::silentAt() const {
  return (isPaused_ ? Clock::now() : lastByte_) + limits_.silence;
}

bool Transfer::receiveHeader(std::string_view line) {
  lastByte_ = Clock::now();
  const bool isEnd = line == "\r\n" || line == "\n";
  // What follows the response are the trailers of a chunked body.
  if (!isEnd || hasResponse_) return true;
  const auto head = ResponseHead::read(handle());
  if (head.isInterim()) return true;
  if (auto objection = head.objection()) {
    fail(std::move(*objection));
    return false;
  }
  hasResponse_ = true;
  client_->transferReceived(head.response);
  return true;
}

std::size_t Transfer::receiveBody(std::span<const std::byte> bytes) {
  lastByte_ = Clock::now();
  // The body of a redirect that leads nowhere. curl itself drops that of one it follows.
  if (!hasResponse_) return 0;
  receivedBytes_ += static_cast<std::int64_t>(bytes.size());
  // Not by the callback's result, for which curl would copy what it has just read.
  if (!client_->transferReceived(bytes) && !std::exchange(isPaused_, true)) {
    curl_easy_pause(handle(), CURLPAUSE_RECV);
  }
  return bytes.size();
}

void Transfer::fail(std::string description) { failure_ = std::move(description); }

void Transfer::endAsSilent() {
  const auto limit = std::to_string(limits_.silence.count()) + " ms";
  fail(describe(CURLE_OPERATION_TIMEDOUT, "nothing was received for " + limit));
  end(CURLE_OPERATION_TIMEDOUT);
}

void Transfer::end(CURLcode result) {
  isOver_ = true;
  client_->transferEnded(judge(result));
}

void Transfer::release() {
  isOver_ = true;
  handle_.reset();
  client_.reset();
}

std::optional<Error> Transfer::judge(CURLcode result) const {
  if (failure_) return Error{*failure_};
  const bool isAnswered = result == CURLE_OK || result == CURLE_WRITE_ERROR;
  if (isAnswered && !hasResponse_) {
    const auto status = std::to_string(ResponseHead::read(handle()).status);
    return Error{"HTTP status " + status + " without a resource or an address of one"};
  }
  if (result != CURLE_OK) return Error{describe(result, errorText_.data())};
  if (receivedBytes_ == 0) return Error{"the answer ended without a single byte"};
  return {};
}

}  // namespace tavrin::curl
