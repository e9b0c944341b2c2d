#include "Tavrin/Mpv/Internal/Decoding.hpp"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <system_error>
#include <thread>

namespace tavrin {

namespace {

// What one thread decodes in a second on a slow machine, in pixels: 1920x1080 at 60 pictures.
constexpr double pixelsOfAThread = 1920.0 * 1080 * 60;
constexpr double costOfNewerCodecs = 2;
constexpr double usualRate = 30;  // pictures per second, where the container does not tell

// libmpv asks each driver in turn, and each that is missing says so: not worth it without a device.
bool hasDevice() {
  std::error_code error;
  return std::filesystem::exists("/dev/nvidiactl", error) ||
         std::filesystem::exists("/dev/dri/renderD128", error);
}

}  // namespace

const DecodingMachine& DecodingMachine::own() {
  static const DecodingMachine machine{
      std::max(1, static_cast<int>(std::thread::hardware_concurrency())), hasDevice()};
  return machine;
}

Decoding Decoding::of(const TrackFacts& track, const DecodingMachine& machine) {
  const double rate = track.rate > 0 ? track.rate : usualRate;
  const double cost = track.isOfPlainCodec ? 1 : costOfNewerCodecs;
  const double pixels =
      static_cast<double>(track.width) * static_cast<double>(track.height) * rate * cost;
  const double wanted = std::ceil(pixels / pixelsOfAThread);
  if (!(wanted > 1)) return {};
  const int most = std::min(machine.cores, mostThreads);
  return {static_cast<int>(std::min<double>(wanted, most)), machine.hasHardware};
}

}  // namespace tavrin
