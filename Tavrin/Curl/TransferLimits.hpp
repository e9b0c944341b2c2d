#pragma once

#include <chrono>
#include <cstdint>

namespace tavrin::curl {

/// The bounds of one transfer.
struct TransferLimits {
  /// How long a transfer may go without receiving a byte of its body, and how long it may take to
  /// connect and to receive the head of each answer. The time in which it waits for its own
  /// delegate does not count.
  std::chrono::milliseconds silence = std::chrono::seconds(60);
  /// Bytes of a body, declared or received.
  std::int64_t mostBodyBytes = std::int64_t{4} << 30;
  /// Bytes of the heads of one answer, informational ones included.
  std::int64_t mostHeadBytes = std::int64_t{256} * 1024;
  /// Bytes of the body of a redirect that is followed. Nobody reads them.
  std::int64_t mostRedirectBytes = std::int64_t{256} * 1024;
  /// Bytes received that the delegate has not finished with. Above this the transfer waits. With
  /// what curl itself then holds, a waiting transfer stays below 256 KiB.
  std::int64_t queuedBytes = std::int64_t{64} * 1024;
  /// The same for a delegate that keeps up, so that neither side sleeps between pieces.
  std::int64_t mostQueuedBytes = std::int64_t{512} * 1024;
  /// A delegate keeps up when it makes a full queue half empty within this time.
  std::chrono::milliseconds promptly = std::chrono::milliseconds(5);
};

}  // namespace tavrin::curl
