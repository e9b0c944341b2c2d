#include <cstdio>

#include "Benchmarks/Peers/SteppingPeer.hpp"

namespace tavrin::benchmarks {

SteppingPeers vlcPeers() {
  std::fprintf(stderr, "built without libVLC (libvlc-dev): no such peer\n");
  return {};
}

}  // namespace tavrin::benchmarks
