#pragma once

#include <curl/curl.h>

#include <cstdint>
#include <string_view>

#include "Tavrin/Foundation/Error.hpp"

namespace tavrin::curl {

/// Why a transfer failed: for a program, and for a person, with curl's own text behind it where it
/// tells more. `isAnswered` says that the answer had begun.
Error transferError(CURLcode result, std::string_view detail, bool isAnswered);

/// The server's own refusal.
Error statusError(long status, std::string_view detail = {});

/// A body of more bytes than this.
Error tooLargeError(std::int64_t limit);

}  // namespace tavrin::curl
