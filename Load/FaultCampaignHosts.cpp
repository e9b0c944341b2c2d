// What hosts do to the library that they should not, or may.
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

#include "Load/FaultCampaignFault.hpp"
#include "Load/FaultCampaignViewer.hpp"

namespace tavrin::load {

namespace {

// In milliseconds, for a child that has nothing to do but to end.
constexpr double longestChild = 100;

std::string throwInObservers(Viewer& viewer) {
  const auto fail = [] { throw HostError(); };
  viewer.keep(viewer.state().currentMedia.observe(fail));
  viewer.keep(viewer.state().playerIsSet.observe(fail));
  viewer.keep(viewer.state().playerStatus.observe(fail));
  return "";
}

std::string pollInObservers(Viewer& viewer) {
  const auto poll = [] { DispatchQueue::main().poll(); };
  viewer.keep(viewer.state().currentMedia.observe(poll));
  viewer.keep(viewer.state().playerIsSet.observe(poll));
  viewer.keep(viewer.state().playerStatus.observe(poll));
  return "";
}

std::string forkAChild(Viewer&) {
  const auto begun = Clock::now();
  const auto child = ::fork();
  if (child == 0) {
    ::alarm(10);  // a hang is a death by signal
    std::exit(0);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  const auto took = millisecondsSince(begun);
  if (status != 0) return "the child hung";
  return took > longestChild ? "the child took " + std::to_string(took) + " ms" : "";
}

std::string drawEmptyBuffers(Viewer& viewer) {
  std::array<std::byte, 64 * 36 * 4> pixels{};
  const std::array<PixelBuffer, 6> buffers = {{{nullptr, 0, 0, 0},
                                               {pixels.data(), 64, 0, 256},
                                               {pixels.data(), 0, 36, 256},
                                               {pixels.data(), -64, -36, 256},
                                               {pixels.data(), 64, 36, 0},
                                               {pixels.data(), 64, 36, 255}}};
  for (const auto& buffer : buffers) viewer.player()->engine().draw(buffer);
  for (const auto each : pixels) {
    if (each != std::byte{0}) return "an empty buffer was drawn to";
  }
  return "";
}

}  // namespace

std::vector<Fault> hostHabits() {
  return {
      {.name = "host: throws in its observers", .habit = throwInObservers},
      {.name = "host: polls in its observers", .habit = pollInObservers},
      {.name = "host: forks a child that exits", .habit = forkAChild},
      {.name = "host: draws to empty buffers", .habit = drawEmptyBuffers},
      {.name = "host: shows an address with control characters",
       .behaviour = "not found",
       .path = "/%1b%5b2Jfaulty%0a--%3e%20forged.mp4"},
  };
}

}  // namespace tavrin::load
