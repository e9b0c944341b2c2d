#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "Tavrin/View/UIImage.hpp"

namespace tavrin {

/// Refers to an image of a bundle's catalogue by name. Making one never fails, even where the
/// catalogue has no such image.
class Image {
 public:
  /// Read out to those who cannot see it by its name. `bundle` must not be null.
  Image(std::string name, std::shared_ptr<const Bundle> bundle)
      : name_(std::move(name)), bundle_(std::move(bundle)), label_(name_) {}
  Image(std::string name, std::shared_ptr<const Bundle> bundle, std::string label)
      : name_(std::move(name)), bundle_(std::move(bundle)), label_(std::move(label)) {}
  /// An image that is hidden from accessibility.
  static Image decorative(std::string name, std::shared_ptr<const Bundle> bundle) {
    Image image(std::move(name), std::move(bundle));
    image.label_.reset();
    return image;
  }

  const std::string& name() const { return name_; }
  /// Absent when the image is hidden from accessibility.
  const std::optional<std::string>& accessibilityLabel() const { return label_; }

  /// Looks the image up, for drawing; null when the catalogue lacks it.
  std::shared_ptr<const UIImage> resolve() const { return UIImage::named(name_, *bundle_); }

  friend bool operator==(const Image& a, const Image& b) {
    return a.name_ == b.name_ && a.label_ == b.label_ && *a.bundle_ == *b.bundle_;
  }

 private:
  std::string name_;
  std::shared_ptr<const Bundle> bundle_;
  std::optional<std::string> label_;
};

}  // namespace tavrin
