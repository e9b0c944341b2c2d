#pragma once

#include <any>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "Tavrin/Foundation/Data.hpp"
#include "Tavrin/Foundation/Error.hpp"
#include "Tavrin/Foundation/URL.hpp"
#include "Tavrin/View/Bitmap.hpp"
#include "Tavrin/View/Framed.hpp"
#include "Tavrin/View/Geometry.hpp"

namespace tavrin {

/// Loading options, a set of bits. This component gives no bit a meaning yet.
struct SDWebImageOptions {
  std::uint64_t rawValue = 0;

  bool operator==(const SDWebImageOptions&) const = default;
};

/// Where an image was served from: the network, a file or memory.
enum class SDImageCacheType { none, disk, memory };

/// What a host passes along with a load; nothing here reads it.
using ImageContext = std::map<std::string, std::any>;

enum class ResizingMode { tile, stretch };

/// An animated image at an address, as a value: what to show, how to lay it out and whom to tell.
/// `AnimatedImageView` is the object that loads it and plays it.
struct AnimatedImage {
  /// The first frame, the image's bytes, and where they came from.
  using SuccessHandler = std::function<void(const std::shared_ptr<const Bitmap>& image,
                                            const std::optional<Data>& data, SDImageCacheType)>;
  using FailureHandler = std::function<void(const Error&)>;
  /// Bytes received and bytes expected; -1 when the length is not known.
  using ProgressHandler = std::function<void(std::int64_t received, std::int64_t expected)>;
  struct Resizing {
    EdgeInsets capInsets;
    ResizingMode mode = ResizingMode::stretch;
  };

  /// Without an address the load fails.
  explicit AnimatedImage(std::optional<URL> address, SDWebImageOptions loadingOptions = {},
                         std::optional<ImageContext> loadingContext = std::nullopt);

  /// Lets the image fill the space that it is offered.
  AnimatedImage resizable(EdgeInsets capInsets, ResizingMode mode) const;
  /// The handlers may be called on any thread, never inside `AnimatedImageView::load()`.
  AnimatedImage onSuccess(SuccessHandler perform) const;
  AnimatedImage onFailure(FailureHandler perform) const;
  AnimatedImage onProgress(ProgressHandler perform) const;
  Framed<AnimatedImage> frame(std::optional<double> width, std::optional<double> height,
                              Alignment alignment = Alignment::center()) const;

  /// All of `offered` when resizable, else the image's own size.
  Size sizeThatFits(Size offered, Size natural) const;

  std::optional<URL> url;
  SDWebImageOptions options;
  std::optional<ImageContext> context;
  std::optional<Resizing> resizing;
  SuccessHandler success;
  FailureHandler failure;
  ProgressHandler progress;
};

}  // namespace tavrin
