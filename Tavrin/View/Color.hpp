#pragma once

#include <memory>
#include <string>
#include <utility>

#include "Tavrin/View/UIColor.hpp"

namespace tavrin {

/// Refers to a colour of a bundle's catalogue by name. Making one never fails, even where the
/// catalogue has no such colour.
class Color {
 public:
  /// `bundle` must not be null.
  Color(std::string name, std::shared_ptr<const Bundle> bundle)
      : name_(std::move(name)), bundle_(std::move(bundle)) {}

  const std::string& name() const { return name_; }

  /// Looks the colour up, for drawing; null when the catalogue lacks it.
  std::shared_ptr<const UIColor> resolve() const { return UIColor::named(name_, *bundle_); }

  friend bool operator==(const Color& a, const Color& b) {
    return a.name_ == b.name_ && *a.bundle_ == *b.bundle_;
  }

 private:
  std::string name_;
  std::shared_ptr<const Bundle> bundle_;
};

}  // namespace tavrin
