#pragma once

#include "Platform/Foundation/Data.hpp"

namespace tavrin {

/// The images that can be read, told by their first bytes.
struct ImageFormat {
  /// The names that the libraries have for its decoder, null when the bytes are of no format that
  /// can be read, and for its demuxer, null for a still, whose bytes the decoder takes as they are.
  ///
  /// Bytes from the network reach the parser that is named here and no other: many of the
  /// containers that libavformat would recognise open files and addresses of their own.
  const char* decoder = nullptr;
  const char* demuxer = nullptr;
  /// What the libraries may be shown.
  Data bytes;

  static ImageFormat of(const Data& bytes);
};

}  // namespace tavrin
