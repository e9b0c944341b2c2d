#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "Tavrin/Foundation/URLSession.hpp"

namespace tavrin {

/// Collects one body in memory, up to a limit. Lives on its session's serial queue: both callbacks
/// come there, `finished` once, last.
class ImageDownload final : public URLSessionDataDelegate {
 public:
  struct Callbacks {
    /// Bytes received and bytes expected, -1 when that is not known.
    std::function<void(std::int64_t received, std::int64_t expected)> progress;
    /// The body, whole when there is no error.
    std::function<void(const Data& body, const std::optional<Error>& error)> finished;
  };

  /// `limit` is in bytes.
  static std::shared_ptr<ImageDownload> make(std::int64_t limit, Callbacks callbacks);

  void urlSession(URLSession& session, URLSessionDataTask& task, const URLResponse& response,
                  const CompletionHandler& completionHandler) override;
  void urlSession(URLSession& session, URLSessionDataTask& task, const Data& chunk) override;
  void urlSession(URLSession& session, URLSessionDataTask& task,
                  const std::optional<Error>& error) override;

 private:
  ImageDownload(std::int64_t limit, Callbacks callbacks)
      : limit_(limit), callbacks_(std::move(callbacks)) {}

  void finish(const std::optional<Error>& error);

  const std::int64_t limit_;
  const Callbacks callbacks_;
  // Touched on the session's serial queue alone.
  Data body_;
  std::int64_t expected_ = -1;
  bool isFinished_ = false;
};

}  // namespace tavrin
