#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Tavrin/Foundation/Mutex.hpp"
#include "Tavrin/Foundation/URLSession.hpp"

namespace tavrin::testing {

/// Writes down what a session tells it, and checks that no two calls overlap, that none comes on
/// the main queue and that they come in their order.
class RecordingDelegate : public URLSessionDataDelegate {
 public:
  using ResponseHook = std::function<ResponseDisposition(URLSession&)>;
  using ChunkHook = std::function<void(URLSession&)>;

  /// Set before the session is made: called inside the delegate's operations, before they return.
  ResponseHook onResponse;
  ChunkHook onChunk;
  ChunkHook onEnd;

  void urlSession(URLSession& session, URLSessionDataTask& dataTask, const URLResponse& response,
                  const CompletionHandler& completionHandler) override;
  void urlSession(URLSession& session, URLSessionDataTask& dataTask, const Data& chunk) override;
  void urlSession(URLSession& session, URLSessionDataTask& task,
                  const std::optional<Error>& error) override;

  /// Waiting operations return false when 30 seconds pass without the condition.
  bool waitForEnds() const;
  bool waitForCalls(std::size_t count) const;

  std::string body() const;
  std::size_t countResponses() const;
  std::size_t countEnds() const;
  /// Operations begun: responses, chunks and ends.
  std::size_t countCalls() const;
  URLResponse response() const;
  /// The text of the last end's error, empty when it had none.
  std::string error() const;
  /// Its code; absent when it had none.
  std::optional<ErrorCode> code() const;
  /// What was wrong with the calls themselves, empty when nothing was.
  std::string misconduct() const;

 private:
  class Call;
  void note(const std::string& wrong);
  bool waitUntil(const std::function<bool()>& done) const;

  std::atomic<int> running_ = 0;
  mutable Mutex mutex_;
  mutable ConditionVariable changed_;
  std::string body_ TAVRIN_GUARDED_BY(mutex_);
  std::vector<URLResponse> responses_ TAVRIN_GUARDED_BY(mutex_);
  std::vector<std::optional<Error>> ends_ TAVRIN_GUARDED_BY(mutex_);
  std::size_t calls_ TAVRIN_GUARDED_BY(mutex_) = 0;
  std::string misconduct_ TAVRIN_GUARDED_BY(mutex_);
};

}  // namespace tavrin::testing
