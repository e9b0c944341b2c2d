#include "App/ScreenText.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace tavrin::app {

namespace {

template <class... Values>
std::string formatted(const char* format, Values... values) {
  std::array<char, 48> text{};
  static_cast<void>(std::snprintf(text.data(), text.size(), format, values...));
  return text.data();
}

}  // namespace

std::string displayName(const std::string& fileName) {
  const auto dot = fileName.rfind('.');
  auto name = fileName.substr(0, dot == 0 ? fileName.npos : dot);
  std::ranges::replace(name, '-', ' ');
  std::ranges::replace(name, '_', ' ');
  if (!name.empty() && name[0] >= 'a' && name[0] <= 'z') {
    name[0] = static_cast<char>(name[0] - 'a' + 'A');
  }
  return name.empty() ? "Untitled" : name;
}

std::string clockText(double seconds) {
  const auto whole = static_cast<long>(std::clamp(seconds, 0.0, 1e9));
  const long minutes = whole / 60;
  if (minutes < 60) return formatted("%ld:%02ld", minutes, whole % 60);
  return formatted("%ld:%02ld:%02ld", minutes / 60, minutes % 60, whole % 60);
}

std::string progressText(const DownloadProgress& progress) {
  if (const auto share = shareOf(progress))
    return formatted("%d %%", static_cast<int>(*share * 100));
  if (progress.received == 0) return "";
  return formatted("%.1f MB", static_cast<double>(progress.received) / 1e6);
}

std::string rateText(double bytesPerSecond) {
  const double kilobits = std::max(0.0, bytesPerSecond) * 8 / 1000;
  return kilobits < 1000 ? formatted("%.0f kbit/s", kilobits)
                         : formatted("%.1f Mbit/s", kilobits / 1000);
}

std::optional<double> shareOf(const DownloadProgress& progress) {
  if (!progress.expected || *progress.expected <= 0) return std::nullopt;
  const auto share =
      static_cast<double>(progress.received) / static_cast<double>(*progress.expected);
  return std::clamp(share, 0.0, 1.0);
}

}  // namespace tavrin::app
