#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "Tavrin/Media/AssetByteReader.hpp"

struct mpv_handle;

namespace tavrin {

/// A byte reader made known to libmpv under an address of its own, for as long as this lives.
///
/// libmpv knows the reader by a number and never by its address in memory: it may cancel a stream
/// after it has closed it, and may close it after the load has ended. Any thread.
class MpvStream {
 public:
  enum class Opening { awaited, ahead };

  MpvStream(std::shared_ptr<AssetByteReader> reader, Opening opening);
  ~MpvStream();
  MpvStream(const MpvStream&) = delete;
  MpvStream& operator=(const MpvStream&) = delete;

  /// What libmpv is told to open.
  std::string address() const;
  AssetByteReader& reader() const { return *reader_; }

  /// Teaches a handle to open the addresses. Returns libmpv's error code, 0 for none.
  static int addProtocol(mpv_handle* handle);

 private:
  const std::shared_ptr<AssetByteReader> reader_;
  const std::uint64_t id_;
};

}  // namespace tavrin
