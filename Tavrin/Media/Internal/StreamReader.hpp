#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "Tavrin/Foundation/Mutex.hpp"
#include "Tavrin/Foundation/URL.hpp"
#include "Tavrin/Media/AssetByteReader.hpp"
#include "Tavrin/Media/Internal/StreamBuffer.hpp"
#include "Tavrin/Media/Internal/StreamRequest.hpp"

namespace tavrin {

/// Reads an address past the cache, through sessions of its own.
///
/// It asks for the bytes from its position to the end, and holds the transfer while the look-ahead
/// is full. A server that takes ranges is asked anew after a seek to elsewhere, and from where the
/// answer broke off when the connection is lost. Any other server sends the whole body each time:
/// that is read forward, and again from its start for a seek back.
///
/// What comes later must be of the same resource as the first answer, by its length and by the
/// server's mark of it. Otherwise reading fails; bytes of two resources are never mixed.
class StreamReader final : public AssetByteReader,
                           public StreamReceiver,
                           public std::enable_shared_from_this<StreamReader> {
 public:
  /// A reader of an http or https address. `accepts` decides which answers are read; absent: all.
  explicit StreamReader(URL url, ResponseTest accepts = nullptr)
      : url_(std::move(url)), accepts_(std::move(accepts)) {}

  std::optional<std::int64_t> size() override;
  bool seek(std::int64_t offset) override;
  std::int64_t read(std::span<std::byte> buffer) override;
  void cancel() override;
  std::optional<Error> failure() const override;

  bool streamResponded(std::uint64_t number, const URLResponse& response) override;
  void streamReceived(std::uint64_t number, const Data& bytes) override;
  void streamEnded(std::uint64_t number, const std::optional<Error>& error) override;

 private:
  /// What a call leads to once no lock is held.
  struct Order {
    std::optional<URLRequest> ask;  // as request `number`
    std::uint64_t number = 0;
    std::shared_ptr<StreamRequest> changed;  // is to be held, or to go on
    bool isHeld = false;
    std::shared_ptr<StreamRequest> dropped;
  };
  /// The request under way, and what has come of it.
  struct Asked {
    std::uint64_t number = 0;
    bool isRunning = false;
    bool isAnswered = false;
    bool isPart = false;        // answered with a range
    std::int64_t partLeft = 0;  // bytes of it that are yet to come
    std::int64_t received = 0;  // bytes
    bool isHeld = false;
  };

  // What a read comes to now; absent when it has to wait.
  std::optional<std::int64_t> tryRead(std::span<std::byte> buffer) TAVRIN_REQUIRES(mutex_);
  Order nextOrder() TAVRIN_REQUIRES(mutex_);
  Order ask() TAVRIN_REQUIRES(mutex_);
  Order holdOrProceed() TAVRIN_REQUIRES(mutex_);
  bool isPastEnd(std::int64_t offset) const TAVRIN_REQUIRES(mutex_);
  bool leadsToPosition() const TAVRIN_REQUIRES(mutex_);
  // Why the answer is not of the resource that was answered with first.
  std::optional<Error> objection(const URLResponse& response) const TAVRIN_REQUIRES(mutex_);
  bool mayResume(const Error& error) TAVRIN_REQUIRES(mutex_);
  void begin(const URLResponse& response) TAVRIN_REQUIRES(mutex_);
  void end(Error error) TAVRIN_REQUIRES(mutex_);
  void perform(Order order);

  const URL url_;
  const ResponseTest accepts_;

  mutable Mutex mutex_;
  ConditionVariable changed_;
  StreamBuffer buffer_ TAVRIN_GUARDED_BY(mutex_);
  Asked asked_ TAVRIN_GUARDED_BY(mutex_);
  std::shared_ptr<StreamRequest> request_
      TAVRIN_GUARDED_BY(mutex_);                                // of `asked_`; absent at first
  std::optional<URLResponse> first_ TAVRIN_GUARDED_BY(mutex_);  // what the resource is known by
  std::optional<std::int64_t> length_ TAVRIN_GUARDED_BY(mutex_);
  int resumptions_ TAVRIN_GUARDED_BY(mutex_) = 0;           // since much has come
  std::optional<Error> broken_ TAVRIN_GUARDED_BY(mutex_);   // nothing more comes
  std::optional<Error> failure_ TAVRIN_GUARDED_BY(mutex_);  // and a read has met that
  bool isCancelled_ TAVRIN_GUARDED_BY(mutex_) = false;
};

}  // namespace tavrin
