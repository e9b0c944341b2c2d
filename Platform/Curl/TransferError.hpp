#pragma once

#include <curl/curl.h>

#include <string>
#include <string_view>

namespace tavrin::curl {

/// Why a transfer failed, for a person, followed by curl's own text where it tells more.
std::string describe(CURLcode result, std::string_view detail);

}  // namespace tavrin::curl
