#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "Platform/Media/AssetByteReader.hpp"

namespace tavrin::testing {

/// Something that bytes are read from, alive as long as this is.
class ByteRangeSource {
 public:
  virtual ~ByteRangeSource() = default;
  /// A new reader at offset 0.
  virtual std::shared_ptr<AssetByteReader> makeReader() = 0;
};

struct ByteRangeCase {
  std::string name;
  /// A source of the bytes, which are never empty.
  std::function<std::unique_ptr<ByteRangeSource>(const std::string& body)> make;
  /// Whether the length is known before the last byte has come.
  bool declaresLength = true;
};

/// What every source of bytes promises its reader; instantiate it with one case per source. Readers
/// are used beside the main queue.
class ByteRangeContract : public ::testing::TestWithParam<ByteRangeCase> {};

}  // namespace tavrin::testing
