#pragma once

#include <string_view>

#include "Tavrin/FFmpeg/AnimationFile.hpp"
#include "Tavrin/Foundation/Data.hpp"
#include "Tavrin/View/Internal/Orientation.hpp"

namespace tavrin {

/// The chunks of a PNG, up to the first that claims to go on past the end of the file.
///
/// The decoder is shown what a picture is made of and nothing else: other chunks hold compressed
/// text and profiles, which a few bytes can blow up to gigabytes.
class PNGFile final : public AnimationFile {
 public:
  static bool matches(std::string_view file);
  /// `limit` is the most frames. A still has none.
  PNGFile(Data bytes, std::int64_t limit);

  const char* decoder() const override { return "png"; }
  PictureParts picture(const AnimationFrame& frame) const override;
  /// The picture that is shown where animations are not known.
  PictureParts still() const;

  Orientation orientation;

 private:
  struct Chunk;

  /// The first chunk of the bytes, without bytes when none is whole.
  static Chunk firstChunk(std::string_view bytes);
  void read(std::int64_t limit);
  AnimationFrame frameFrom(const Chunk& control, std::size_t begin) const;

  const Data bytes_;
  std::string_view header_;               // the contents of IHDR
  std::vector<std::string_view> colors_;  // the chunks between it and the picture that it needs
};

}  // namespace tavrin
