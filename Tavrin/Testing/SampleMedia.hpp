#pragma once

#include <string>

#include "Tavrin/Models/Media.hpp"

namespace tavrin::testing {

/// A video at "http://host/NAME.mp4".
inline Media video(const std::string& name, std::optional<bool> loops = std::nullopt) {
  return {UUID::random(), URL::parse("http://host/" + name + ".mp4"), {"video/mp4"}, loops};
}

/// An animated image at "http://host/NAME.gif".
inline Media image(const std::string& name) {
  return {UUID::random(), URL::parse("http://host/" + name + ".gif"), {"image/gif"}};
}

}  // namespace tavrin::testing
