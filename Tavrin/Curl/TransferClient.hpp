#pragma once

#include <cstddef>
#include <optional>
#include <span>

#include "Tavrin/Foundation/Error.hpp"
#include "Tavrin/Foundation/URLSession.hpp"

namespace tavrin::curl {

/// Takes what a transfer receives. Called on the transfer thread, so it must not block.
class TransferClient {
 public:
  virtual ~TransferClient() = default;
  /// The final response, before any bytes.
  virtual void transferReceived(const URLResponse& response) = 0;
  /// Bytes of the body, which it takes. False when it wants no more before `Transfer::proceed()`;
  /// what had been received already may still come.
  virtual bool transferReceived(std::span<const std::byte> bytes) = 0;
  /// The end, once. Not called for a transfer that was stopped.
  virtual void transferEnded(const std::optional<Error>& error) = 0;
};

}  // namespace tavrin::curl
