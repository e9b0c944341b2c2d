#pragma once

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <span>

#include "Tavrin/Mpv/Internal/PartHeader.hpp"

namespace tavrin {

/// Which tracks of an MP4 or QuickTime file are encrypted: its index (`moov`) says so where it
/// describes their samples (`stsd`). libmpv does not ask. It decodes what is encrypted like
/// anything else, and now and then that gives pictures.
class EncryptedTracks {
 public:
  EncryptedTracks();
  /// Takes in bytes of the file as they are read, in any order.
  void see(std::int64_t offset, std::span<const std::byte> bytes);
  /// By a track's place among the file's tracks, from 0.
  bool has(std::int64_t track) const;

 private:
  // Boxes within each other: moov, trak, mdia, minf, stbl, stsd, and there each kind of sample.
  static constexpr std::size_t deepest = 7;
  static constexpr std::size_t mostTracks = 1000;  // FFmpeg opens no file with more

  void takeHeader();
  void takeBox(std::uint64_t type, std::int64_t end);
  void next(std::int64_t offset);
  std::int64_t end() const;

  PartHeader header_;
  std::array<std::int64_t, deepest> ends_{};  // of the boxes around the awaited one
  std::size_t depth_ = 0;                     // how many are around it
  std::size_t tracks_ = 0;                    // how many have begun
  std::bitset<mostTracks> encrypted_;
};

}  // namespace tavrin
