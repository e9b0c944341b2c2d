#include "Tavrin/Feature/VideoFeatureState.hpp"

#include <utility>

namespace tavrin {

namespace {

struct MediaHelper {
  static MediaList identifiedMediaArray(std::vector<std::optional<Media>> media) {
    std::vector<Media> present;
    present.reserve(media.size());
    for (auto& item : media) {
      if (item) present.push_back(*std::move(item));
    }
    return MediaList(std::move(present));
  }
};

}  // namespace

VideoFeatureState::VideoFeatureState(std::vector<std::optional<Media>> items)
    : media(MediaHelper::identifiedMediaArray(std::move(items))) {}

}  // namespace tavrin
