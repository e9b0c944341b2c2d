#pragma once

#include <string>
#include <utility>

namespace tavrin {

/// What went wrong, for a program. Each says one thing, wherever it arose.
enum class ErrorCode {
  other,           ///< None of those below; the text has all there is to know.
  cancelled,       ///< Nobody wants the result any more.
  badAddress,      ///< The address is malformed, or its scheme is not http or https.
  cannotResolve,   ///< The server's name is unknown, or no name server answers.
  cannotConnect,   ///< The server or the proxy cannot be reached.
  connectionLost,  ///< The connection broke before the answer began.
  timedOut,        ///< Nothing came for longer than the limit.
  untrusted,       ///< No secure connection, or a certificate that cannot be trusted.
  httpStatus,      ///< The server refused; `Error::httpStatus` is its number.
  badAnswer,       ///< The answer is malformed, or contradicts itself.
  notAccepted,     ///< The answer has a type or an encoding that was not asked for.
  cutShort,        ///< The bytes end before their end.
  tooLarge,        ///< More bytes or pixels than the limit.
  missing,         ///< A file is not there.
  unreadable,      ///< A file, or the bytes of a source, cannot be read.
  unsupported,     ///< The bytes are in no format that can be decoded.
  noPicture,       ///< The format is known and gives no picture.
  noMemory,        ///< Memory, threads or descriptors have run out.
  noSpace,         ///< The disk is full, or takes no file as large.
};

/// Why an operation failed. It is carried from where it arose to the person who reads it.
struct Error {
  Error() = default;
  Error(ErrorCode errorCode, std::string text) : code(errorCode), description(std::move(text)) {}
  explicit Error(std::string text) : description(std::move(text)) {}

  ErrorCode code = ErrorCode::other;
  /// For a person: one sentence without a full stop.
  std::string description;
  /// The number that the server answered with; 0 unless the code is `httpStatus`.
  int httpStatus = 0;

  bool operator==(const Error&) const = default;
};

}  // namespace tavrin
