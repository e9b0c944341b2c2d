#include "Tavrin/View/AnimatedImage.hpp"

#include <utility>

namespace tavrin {
namespace {

template <class Field, class Value>
AnimatedImage with(AnimatedImage image, Field field, Value value) {
  image.*field = std::move(value);
  return image;
}

}  // namespace

AnimatedImage::AnimatedImage(std::optional<URL> address, SDWebImageOptions loadingOptions,
                             std::optional<ImageContext> loadingContext)
    : url(std::move(address)), options(loadingOptions), context(std::move(loadingContext)) {}

AnimatedImage AnimatedImage::resizable(EdgeInsets capInsets, ResizingMode mode) const {
  return with(*this, &AnimatedImage::resizing, Resizing{capInsets, mode});
}

AnimatedImage AnimatedImage::onSuccess(SuccessHandler perform) const {
  return with(*this, &AnimatedImage::success, std::move(perform));
}

AnimatedImage AnimatedImage::onFailure(FailureHandler perform) const {
  return with(*this, &AnimatedImage::failure, std::move(perform));
}

AnimatedImage AnimatedImage::onProgress(ProgressHandler perform) const {
  return with(*this, &AnimatedImage::progress, std::move(perform));
}

Framed<AnimatedImage> AnimatedImage::frame(std::optional<double> width,
                                           std::optional<double> height,
                                           Alignment alignment) const {
  return {*this, width, height, alignment};
}

Size AnimatedImage::sizeThatFits(Size offered, Size natural) const {
  return resizing ? offered : natural;
}

}  // namespace tavrin
