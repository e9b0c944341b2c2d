#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "Tavrin/Foundation/URLSession.hpp"

namespace tavrin::testing {

/// A session whose one transfer the test feeds by hand, on its own thread.
class HandFedSession final : public URLSession {
 public:
  explicit HandFedSession(std::shared_ptr<URLSessionDataDelegate> delegate)
      : delegate_(std::move(delegate)) {}

  std::shared_ptr<URLSessionDataTask> dataTask(const URLRequest& request) override {
    requested = request.url;
    return std::shared_ptr<URLSessionDataTask>(std::shared_ptr<void>(), &task_);
  }
  void invalidateAndCancel() override { delegate_.reset(); }

  bool isInvalidated() const { return !delegate_; }
  /// Returns what the delegate wants done.
  std::optional<URLSessionDataDelegate::ResponseDisposition> respond(std::int64_t expected) {
    std::optional<URLSessionDataDelegate::ResponseDisposition> answer;
    if (const auto delegate = delegate_) {
      delegate->urlSession(*this, task_, URLResponse{"image/gif", expected},
                           [&answer](auto disposition) { answer = disposition; });
    }
    return answer;
  }
  void feed(const Data& chunk) {
    if (const auto delegate = delegate_) delegate->urlSession(*this, task_, chunk);
  }
  void complete(const std::optional<Error>& error = std::nullopt) {
    if (const auto delegate = delegate_) delegate->urlSession(*this, task_, error);
  }

  std::optional<URL> requested;
  bool isResumed() const { return task_.isResumed; }

 private:
  struct Task final : URLSessionDataTask {
    void resume() override { isResumed = true; }
    bool isResumed = false;
  };

  std::shared_ptr<URLSessionDataDelegate> delegate_;
  Task task_;
};

}  // namespace tavrin::testing
