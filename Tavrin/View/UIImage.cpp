#include "Tavrin/View/UIImage.hpp"

#include <algorithm>
#include <array>
#include <string>

#include "Tavrin/View/ImageDecoder.hpp"

namespace tavrin {
namespace {

constexpr std::array renderingHeights{24, 48, 96};
constexpr double pointsHigh = 24;

}  // namespace

// The catalogue holds one PNG for each height, <name>-<height>.png.
std::shared_ptr<const UIImage> UIImage::named(std::string_view name, const Bundle& bundle) {
  std::vector<std::shared_ptr<const Bitmap>> renderings;
  for (const int height : renderingHeights) {
    const auto bytes = bundle.resource(std::string(name) + "-" + std::to_string(height) + ".png");
    if (!bytes) continue;
    const auto decoder = ImageDecoder::open(*bytes).decoder;
    if (auto bitmap = decoder ? decoder->next() : nullptr) renderings.push_back(std::move(bitmap));
  }
  if (renderings.empty()) return nullptr;
  return std::shared_ptr<const UIImage>(new UIImage(std::move(renderings)));
}

Size UIImage::size() const {
  const auto& largest = *renderings_.back();
  return {pointsHigh * largest.width / largest.height, pointsHigh};
}

const Bitmap& UIImage::rendering(int height) const {
  const auto found = std::ranges::find_if(
      renderings_, [height](const auto& bitmap) { return bitmap->height >= height; });
  return found == renderings_.end() ? *renderings_.back() : **found;
}

}  // namespace tavrin
