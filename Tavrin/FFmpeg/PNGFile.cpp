#include "Tavrin/FFmpeg/PNGFile.hpp"

#include <string>
#include <utility>

#include "Tavrin/View/Internal/ByteOrder.hpp"

namespace tavrin {
namespace {

constexpr std::string_view signature("\x89PNG\r\n\x1a\n", 8);
// Of a chunk: its length and its type before its contents, a check sum after them.
constexpr std::size_t chunkStart = 8;
constexpr std::size_t chunkOverhead = 12;
constexpr std::size_t headerBytes = 13;
constexpr std::size_t sequenceNumber = 4;  // in front of a later frame's data

std::string number(std::size_t value) {
  std::string bytes;
  for (const unsigned shift : {24U, 16U, 8U, 0U})
    bytes.push_back(static_cast<char>(value >> shift));
  return bytes;
}

// Nobody looks at the check sum of a chunk of ours.
void addChunk(PictureParts& file, std::string_view type, std::string_view contents) {
  file.make(number(contents.size()) + std::string(type));
  file.add(contents);
  file.make(number(0));
}

AnimationFrame::Disposal disposalOf(std::uint32_t number) {
  switch (number) {
    case 1:
      return AnimationFrame::Disposal::clear;
    case 2:
      return AnimationFrame::Disposal::restore;
    default:
      return AnimationFrame::Disposal::keep;
  }
}

// A fraction of a second; without a denominator, of hundredths.
std::chrono::milliseconds delayOf(std::uint32_t numerator, std::uint32_t denominator) {
  if (denominator == 0) denominator = 100;
  return std::chrono::milliseconds((numerator * 1000ULL + denominator / 2) / denominator);
}

}  // namespace

struct PNGFile::Chunk {
  std::string_view bytes;  // all of it
  std::string_view type() const { return bytes.substr(4, 4); }
  std::string_view contents() const {
    return bytes.substr(chunkStart, bytes.size() - chunkOverhead);
  }
};

bool PNGFile::matches(std::string_view file) { return file.starts_with(signature); }

PNGFile::PNGFile(Data bytes, std::int64_t limit) : bytes_(std::move(bytes)) { read(limit); }

PNGFile::Chunk PNGFile::firstChunk(std::string_view bytes) {
  const std::size_t length = bigEndian(bytes, 0, 4);
  if (bytes.size() < chunkOverhead || length > bytes.size() - chunkOverhead) return {};
  return {bytes.substr(0, length + chunkOverhead)};
}

void PNGFile::read(std::int64_t limit) {
  const auto file = bytes_.text();
  bool isAnimated = false;
  bool hasPicture = false;
  for (std::size_t at = signature.size();;) {
    const auto chunk = firstChunk(file.substr(at));
    if (chunk.bytes.empty()) break;
    at += chunk.bytes.size();
    const auto type = chunk.type();
    const auto contents = chunk.contents();
    if (type == "IHDR" && contents.size() == headerBytes) {
      header_ = contents;
      canvas = {static_cast<int>(bigEndian(contents, 0, 4)),
                static_cast<int>(bigEndian(contents, 4, 4))};
    } else if (!hasPicture && (type == "PLTE" || type == "tRNS")) {
      colors_.push_back(chunk.bytes);
    } else if (type == "eXIf") {
      orientation = Orientation::inExif(contents);
    } else if (type == "acTL" && !hasPicture) {
      isAnimated = true;
      const auto number = bigEndian(contents, 4, 4);
      plays = number == 0 ? std::nullopt : std::optional<std::int64_t>(number);
    } else if (type == "fcTL" && isAnimated) {
      if (!frames.empty() && frames.back().end == 0) frames.pop_back();
      if (std::ssize(frames) == limit) break;
      frames.push_back(frameFrom(chunk, at));
    } else if (type == "IDAT" || type == "fdAT") {
      hasPicture = true;
      if (!frames.empty()) frames.back().end = at;
    }
  }
  // A frame without data is one that the file ends in.
  if (!frames.empty() && frames.back().end == 0) frames.pop_back();
}

AnimationFrame PNGFile::frameFrom(const Chunk& control, std::size_t begin) const {
  const auto contents = control.contents();
  const auto at = [contents](std::size_t place, std::size_t count) {
    return static_cast<int>(bigEndian(contents, place, count));
  };
  AnimationFrame frame;
  frame.size = {at(4, 4), at(8, 4)};
  frame.x = at(12, 4);
  frame.y = at(16, 4);
  frame.delay = delayOf(bigEndian(contents, 20, 2), bigEndian(contents, 22, 2));
  frame.disposal = disposalOf(bigEndian(contents, 24, 1));
  frame.isBlended = bigEndian(contents, 25, 1) == 1;
  frame.begin = begin;
  return frame;
}

PictureParts PNGFile::picture(const AnimationFrame& frame) const {
  PictureParts file;
  file.add(signature);
  file.make(number(headerBytes) + "IHDR" + number(static_cast<std::size_t>(frame.size.width)) +
            number(static_cast<std::size_t>(frame.size.height)) + std::string(header_.substr(8)) +
            number(0));
  for (const auto chunk : colors_) file.add(chunk);
  for (auto rest = bytes_.text().substr(frame.begin, frame.end - frame.begin); !rest.empty();) {
    const auto chunk = firstChunk(rest);
    if (chunk.bytes.empty()) break;
    rest.remove_prefix(chunk.bytes.size());
    if (chunk.type() == "IDAT") file.add(chunk.bytes);
    if (chunk.type() == "fdAT" && chunk.contents().size() >= sequenceNumber) {
      addChunk(file, "IDAT", chunk.contents().substr(sequenceNumber));
    }
  }
  addChunk(file, "IEND", {});
  return file;
}

PictureParts PNGFile::still() const {
  AnimationFrame whole;
  whole.size = canvas;
  whole.begin = signature.size();
  whole.end = static_cast<std::size_t>(bytes_.count());
  return picture(whole);
}

}  // namespace tavrin
