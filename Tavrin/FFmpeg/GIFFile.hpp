#pragma once

#include <string_view>

#include "Tavrin/FFmpeg/AnimationFile.hpp"
#include "Tavrin/Foundation/Data.hpp"

namespace tavrin {

/// The blocks of a GIF. A file that is cut short has the frames that begin in front of the cut.
class GIFFile final : public AnimationFile {
 public:
  static bool matches(std::string_view file);
  /// `limit` is the most frames.
  GIFFile(Data bytes, std::int64_t limit);

  const char* decoder() const override { return "gif"; }
  PictureParts picture(const AnimationFrame& frame) const override;

 private:
  class Reader;

  const Data bytes_;
  std::string_view palette_;  // of frames that bring none
};

}  // namespace tavrin
