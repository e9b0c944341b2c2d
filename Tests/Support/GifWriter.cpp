#include "Tests/Support/GifWriter.hpp"

#include <algorithm>
#include <cstddef>
#include <span>
#include <string_view>
#include <unordered_map>

namespace tavrin::testing {
namespace {

constexpr int colorBits = 7;
constexpr unsigned clearCode = 1U << colorBits;
constexpr unsigned endCode = clearCode + 1;
constexpr unsigned mostCodes = 4096;

/// Codes of a growing number of bits, packed from the lowest bit.
class CodeStream {
 public:
  void put(unsigned code, int bits) {
    pending_ |= code << count_;
    for (count_ += bits; count_ >= 8; count_ -= 8, pending_ >>= 8) flushByte();
  }
  std::vector<std::byte> finish() {
    if (count_ > 0) flushByte();
    return bytes_;
  }

 private:
  void flushByte() { bytes_.push_back(static_cast<std::byte>(pending_ & 0xFFU)); }

  unsigned pending_ = 0;
  int count_ = 0;
  std::vector<std::byte> bytes_;
};

std::vector<std::byte> lzw(const std::vector<std::uint8_t>& indices) {
  CodeStream stream;
  std::unordered_map<unsigned, unsigned> table;  // (prefix code, next index) -> code
  unsigned next = endCode + 1;
  int bits = colorBits + 1;
  stream.put(clearCode, bits);
  unsigned prefix = indices.front();
  for (const unsigned index : std::span(indices).subspan(1)) {
    const unsigned key = prefix << 8U | index;
    if (const auto known = table.find(key); known != table.end()) {
      prefix = known->second;
      continue;
    }
    stream.put(prefix, bits);
    prefix = index;
    if (next == mostCodes) {
      stream.put(clearCode, bits);
      table.clear();
      next = endCode + 1;
      bits = colorBits + 1;
      continue;
    }
    table.emplace(key, next);
    if (next++ == 1U << bits) ++bits;
  }
  stream.put(prefix, bits);
  stream.put(endCode, bits);
  return stream.finish();
}

}  // namespace

GifWriter::GifWriter(int width, int height) : width_(width), height_(height) {
  for (const char letter : std::string_view("GIF89a")) byte(letter);
  word(width);
  word(height);
  byte(0x80 | (colorBits - 1));  // a global palette of 2^colorBits entries follows
  byte(0);
  byte(0);
  for (int i = 0; i < 1 << colorBits; ++i) {
    byte(2 * i);
    byte(255 - 2 * i);
    byte(i);
  }
}

void GifWriter::setRepeats(int count) {
  for (const int value : {0x21, 0xFF, 11}) byte(value);
  for (const char letter : std::string_view("NETSCAPE2.0")) byte(letter);
  byte(3);
  byte(1);
  word(count);
  byte(0);
}

void GifWriter::addFrame(const Place& place, const std::vector<std::uint8_t>& indices, int delay) {
  const bool isTransparent = place.transparent >= 0;
  for (const int value : {0x21, 0xF9, 4}) byte(value);  // graphic control: delay follows
  byte(place.disposal << 2 | (isTransparent ? 1 : 0));
  word(delay);
  byte(isTransparent ? place.transparent : 0);
  byte(0);
  byte(0x2C);
  for (const int value : {place.x, place.y, place.width, place.height}) word(value);
  byte(0);
  compress(indices);
}

void GifWriter::addFrame(const std::vector<std::uint8_t>& indices, int delay) {
  addFrame(Place{0, 0, width_, height_, 0, -1}, indices, delay);
}

void GifWriter::addFrame(std::uint8_t index, int delay) {
  const auto count = static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_);
  addFrame(std::vector<std::uint8_t>(count, index), delay);
}

Data GifWriter::data() const {
  Data file{std::span(bytes_)};
  const auto trailer = std::byte{0x3B};
  file.append({&trailer, 1});
  return file;
}

void GifWriter::word(int value) {
  byte(value & 0xFF);
  byte(value >> 8);
}

void GifWriter::compress(const std::vector<std::uint8_t>& indices) {
  byte(colorBits);
  const auto codes = lzw(indices);
  constexpr std::size_t block = 255;
  for (std::size_t at = 0; at < codes.size(); at += block) {
    const auto size = std::min(block, codes.size() - at);
    byte(static_cast<int>(size));
    const auto from = codes.begin() + static_cast<std::ptrdiff_t>(at);
    bytes_.insert(bytes_.end(), from, from + static_cast<std::ptrdiff_t>(size));
  }
  byte(0);
}

}  // namespace tavrin::testing
