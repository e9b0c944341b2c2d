#include "Tavrin/Feature/VideoFeature.hpp"

namespace tavrin {

namespace {

// Scans from the neighbour of `index` in the direction of `step`, counting videos only.
std::optional<Media> nthVideo(std::int64_t index, std::int64_t nth, const MediaList& media,
                              std::int64_t step) {
  const auto start = safe(media, index);
  if (!start || !start->mimeType.isVideo()) return std::nullopt;
  std::int64_t found = 0;
  for (auto i = index + step; i >= 0 && i < media.count(); i += step) {
    if (media[i].mimeType.isVideo() && ++found == nth) return media[i];
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::int64_t> VideoFeature::_nextMediaIndex(std::int64_t index, bool holdPosition,
                                                          const MediaList& media, bool wrapAround) {
  if (holdPosition) return index;
  if (wrapAround && index == media.count() - 1) return 0;
  if (index >= media.count()) return std::nullopt;
  return index + 1;
}

std::optional<std::int64_t> VideoFeature::_prevMediaIndex(std::int64_t index,
                                                          const MediaList& media, bool wrapAround) {
  if (wrapAround && index == 0) return media.count() - 1;
  if (index <= 0) return std::nullopt;
  return index - 1;
}

std::optional<Media> VideoFeature::_getNextVideo(std::int64_t index, std::int64_t nth,
                                                 const MediaList& media) {
  return nthVideo(index, nth, media, 1);
}

std::optional<Media> VideoFeature::_getPreviousVideo(std::int64_t index, std::int64_t nth,
                                                     const MediaList& media) {
  return nthVideo(index, nth, media, -1);
}

}  // namespace tavrin
