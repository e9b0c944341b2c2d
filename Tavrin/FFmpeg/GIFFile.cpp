#include "Tavrin/FFmpeg/GIFFile.hpp"

#include <algorithm>
#include <initializer_list>
#include <string>
#include <utility>

#include "Tavrin/View/Internal/ByteOrder.hpp"

namespace tavrin {
namespace {

constexpr std::size_t headerBytes = 13;
constexpr std::size_t descriptorBytes = 9;
constexpr unsigned hasPalette = 0x80;
constexpr unsigned isInterlaced = 0x40;
constexpr unsigned hasTransparency = 1;

std::size_t paletteBytes(unsigned flags) {
  return (flags & hasPalette) != 0 ? std::size_t{3} << ((flags & 7U) + 1) : 0;
}

// The flags that say how many colours there are.
unsigned paletteFlags(std::size_t bytes) {
  unsigned bits = 0;
  while (std::size_t{3} << (bits + 1) < bytes) ++bits;
  return bytes == 0 ? 0 : hasPalette | bits;
}

// Two bytes for each, the lower one first.
std::string words(std::initializer_list<int> values) {
  std::string bytes;
  for (const int value : values) {
    bytes.push_back(static_cast<char>(value & 0xFF));
    bytes.push_back(static_cast<char>(value >> 8));
  }
  return bytes;
}

AnimationFrame::Disposal disposalOf(unsigned flags) {
  switch (flags >> 2U & 7U) {
    case 2:
      return AnimationFrame::Disposal::clear;
    case 3:
      return AnimationFrame::Disposal::restore;
    default:
      return AnimationFrame::Disposal::keep;
  }
}

}  // namespace

/// Walks the blocks, which stand one behind another, and notes the frames.
class GIFFile::Reader {
 public:
  Reader(GIFFile& target, std::size_t at) : target_(target), file_(target.bytes_.text()), at_(at) {}

  void run(std::int64_t limit) {
    while (at_ < file_.size() && std::ssize(target_.frames) < limit) {
      switch (number(at_++, 1)) {
        case 0x00:
          break;  // left over by some writers
        case 0x21:
          readExtension();
          break;
        case 0x2C:
          readFrame();
          break;
        default:
          return;  // 0x3B is the end
      }
    }
  }

 private:
  std::uint32_t number(std::size_t at, std::size_t count) const {
    return littleEndian(file_, at, count);
  }

  // A chain of blocks of up to 255 bytes each, which ends with an empty one.
  void skipBlocks() {
    while (at_ < file_.size()) {
      const auto length = number(at_, 1);
      at_ += 1 + length;
      if (length == 0) return;
    }
  }

  void readExtension() {
    const auto label = number(at_++, 1);
    if (label == 0xF9) {
      next_.delay = std::chrono::milliseconds(10 * number(at_ + 2, 2));
      next_.disposal = disposalOf(number(at_ + 1, 1));
      if ((number(at_ + 1, 1) & hasTransparency) != 0) next_.transparent = number(at_ + 4, 1);
    }
    // Says how often the frames are shown again after the first time; 0 for without end.
    if (label == 0xFF && isLoopExtension() && number(at_ + 13, 1) == 1) {
      const auto again = number(at_ + 14, 2);
      target_.plays = again == 0 ? std::nullopt : std::optional<std::int64_t>(again + 1);
    }
    skipBlocks();
  }

  bool isLoopExtension() const {
    const auto name = file_.substr(std::min(at_ + 1, file_.size()), 11);
    return number(at_, 1) == name.size() && (name == "NETSCAPE2.0" || name == "ANIMEXTS1.0");
  }

  void readFrame() {
    auto frame = std::exchange(next_, AnimationFrame());
    frame.begin = at_;
    frame.x = static_cast<int>(number(at_, 2));
    frame.y = static_cast<int>(number(at_ + 2, 2));
    frame.size = {static_cast<int>(number(at_ + 4, 2)), static_cast<int>(number(at_ + 6, 2))};
    at_ += descriptorBytes + paletteBytes(number(at_ + 8, 1)) + 1;
    if (at_ >= file_.size()) return;
    skipBlocks();
    frame.end = std::min(at_, file_.size());
    target_.frames.push_back(frame);
  }

  GIFFile& target_;
  const std::string_view file_;
  std::size_t at_;
  AnimationFrame next_;  // what has been said of it
};

bool GIFFile::matches(std::string_view file) {
  return file.starts_with("GIF87a") || file.starts_with("GIF89a");
}

GIFFile::GIFFile(Data bytes, std::int64_t limit) : bytes_(std::move(bytes)) {
  const auto file = bytes_.text();
  canvas = {static_cast<int>(littleEndian(file, 6, 2)), static_cast<int>(littleEndian(file, 8, 2))};
  plays = 1;
  const auto palette = paletteBytes(littleEndian(file, 10, 1));
  if (file.size() < headerBytes + palette) return;
  palette_ = file.substr(headerBytes, palette);
  Reader(*this, headerBytes + palette).run(limit);
  if (canvas.pixels() == 0 && !frames.empty()) canvas = frames.front().size;
}

// The frame fills a canvas of its own. Its palette is in the frame: with one in front, the decoder
// would fill what the frame leaves open with a colour.
PictureParts GIFFile::picture(const AnimationFrame& frame) const {
  const auto bytes = bytes_.text().substr(frame.begin, frame.end - frame.begin);
  const auto flags = littleEndian(bytes, 8, 1);
  const auto own = bytes.substr(descriptorBytes, paletteBytes(flags));
  const auto palette = own.empty() ? palette_ : own;
  const auto size = words({frame.size.width, frame.size.height});
  PictureParts file;
  file.make("GIF89a" + size + std::string(3, '\0'));
  if (frame.transparent) {
    file.make(std::string("\x21\xF9\x04\x01\0\0", 6) + static_cast<char>(*frame.transparent) +
              '\0');
  }
  file.make("\x2C" + words({0, 0}) + size +
            static_cast<char>(paletteFlags(palette.size()) | (flags & isInterlaced)));
  file.add(palette);
  file.add(bytes.substr(descriptorBytes + own.size()));
  file.make(std::string("\0\x3B", 2));
  return file;
}

}  // namespace tavrin
