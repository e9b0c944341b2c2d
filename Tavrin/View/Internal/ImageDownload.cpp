#include "Tavrin/View/Internal/ImageDownload.hpp"

#include <utility>

namespace tavrin {
namespace {

Error tooLarge() { return {ErrorCode::tooLarge, "the image's file is larger than the limit"}; }

}  // namespace

std::shared_ptr<ImageDownload> ImageDownload::make(std::int64_t limit, Callbacks callbacks) {
  return std::shared_ptr<ImageDownload>(new ImageDownload(limit, std::move(callbacks)));
}

void ImageDownload::urlSession(URLSession&, URLSessionDataTask&, const URLResponse& response,
                               const CompletionHandler& completionHandler) {
  expected_ = response.expectedContentLength;
  if (expected_ > limit_) {
    completionHandler(ResponseDisposition::cancel);
    finish(tooLarge());
    return;
  }
  completionHandler(ResponseDisposition::allow);
  if (expected_ > 0) body_.reserve(expected_);
  callbacks_.progress(0, expected_);
}

void ImageDownload::urlSession(URLSession& session, URLSessionDataTask&, const Data& chunk) {
  if (isFinished_) return;
  if (body_.count() + chunk.count() > limit_) {
    finish(tooLarge());
    session.invalidateAndCancel();
    return;
  }
  body_.append(chunk.view());
  callbacks_.progress(body_.count(), expected_);
}

void ImageDownload::urlSession(URLSession&, URLSessionDataTask&,
                               const std::optional<Error>& error) {
  finish(error);
}

void ImageDownload::finish(const std::optional<Error>& error) {
  if (std::exchange(isFinished_, true)) return;
  callbacks_.finished(std::exchange(body_, Data()), error);
}

}  // namespace tavrin
