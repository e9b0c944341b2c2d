#include <cstdio>

#include "Benchmarks/Peers/SteppingPeer.hpp"

namespace tavrin::benchmarks {

SteppingPeers gstreamerPeers() {
  std::fprintf(stderr,
               "built without GStreamer (libgstreamer-plugins-base1.0-dev): no such peer\n");
  return {};
}

}  // namespace tavrin::benchmarks
