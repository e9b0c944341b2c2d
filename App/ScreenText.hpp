#pragma once

#include <optional>
#include <string>

#include "Tavrin/Item/CachingPlayerItem.hpp"

namespace tavrin::app {

/// A name for a person, from a file's: "jumping-jacks.mp4" is "Jumping jacks".
std::string displayName(const std::string& fileName);
/// "1:05", or "1:01:05" from an hour on.
std::string clockText(double seconds);
/// "45 %" where the length is known, else what has come, "1.2 MB"; empty before the first byte.
std::string progressText(const DownloadProgress& progress);
/// Bytes a second as networks are named, "1.2 Mbit/s".
std::string rateText(double bytesPerSecond);
/// How much has come, 0 to 1; absent where the length is not known.
std::optional<double> shareOf(const DownloadProgress& progress);

}  // namespace tavrin::app
