#include "Tavrin/Models/Media.hpp"

#include <algorithm>
#include <cctype>
#include <string_view>

namespace tavrin {

// MIME types are compared without regard to case.
bool Media::MimeType::isVideo() const {
  constexpr std::string_view prefix = "video/";
  return rawValue.size() > prefix.size() &&
         std::equal(prefix.begin(), prefix.end(), rawValue.begin(), [](char want, char is) {
           return want == std::tolower(static_cast<unsigned char>(is));
         });
}

}  // namespace tavrin
