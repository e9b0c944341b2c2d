#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Tavrin/Foundation/Error.hpp"
#include "Tavrin/Foundation/URLSession.hpp"

namespace tavrin::curl {

/// The header lines with which a part is asked for; none for a whole resource.
std::vector<std::string> partHeaders(const URLRequest& request);

/// Fills in which part of its resource an answer of status 206 is, from its Content-Range headers.
/// Returns why it is not the part that was asked for; absent when it is.
std::optional<Error> readPart(const std::vector<std::string>& ranges, std::int64_t firstByte,
                              URLResponse& response);

/// An answer's mark of its resource: its entity tag, unless that is weak, else the time of the last
/// change.
std::optional<std::string> validator(const std::vector<std::string>& tags,
                                     const std::vector<std::string>& dates);

}  // namespace tavrin::curl
