// What surrounds the player's process: its network, and what the system gives it.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "Load/Clips.hpp"
#include "Load/FaultCampaignFault.hpp"
#include "Tavrin/Testing/RangeServer.hpp"
#include "Tavrin/Testing/TemporaryDirectory.hpp"
#include "Tests/Support/PrivateNetwork.hpp"
#include "Tests/Support/TLSServer.hpp"

namespace {

std::atomic<bool> isDiskSlow = false;

}  // namespace

// In place of the C library's, for the library that is linked into this program.
extern "C" int fdatasync(int file) {
  if (isDiskSlow) std::this_thread::sleep_for(std::chrono::seconds(2));
  return static_cast<int>(::syscall(SYS_fdatasync, file));
}

namespace tavrin::load {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view farAddress = "http://far.example/faulty.mp4";

void insist(bool isPossible) {
  if (!isPossible) std::abort();
}

void loseNameServer(const fs::path&) { insist(testing::enterPrivateNetwork()); }

// A server whose certificate is of its own making; trusted by the player, or not.
void serveSecurely(bool isTrusted, const testing::TLSCertificate& certificate = {}) {
  static const testing::TemporaryDirectory folder;
  static const testing::TLSServer server(folder.path(), certificate);
  insist(testing::enterPrivateNetwork(isTrusted ? server.certificate() : ""));
  const auto clip = testClip("long.mp4");
  server.serve(faultyName, "HTTP/1.1 200 OK\r\nContent-Type: video/mp4\r\nContent-Length: " +
                               std::to_string(clip.size()) + "\r\n\r\n" + clip);
  server.start();
}

// A proxy that takes this address for its own, and serves it in that manner. It has no end.
void serveByProxy(const char* variable, std::string_view behaviour) {
  static auto* const proxy = new testing::RangeServer;
  proxy->serve(std::string(farAddress), testClip("long.mp4"), behaviour);
  ::setenv(variable, proxy->url("").absoluteString().c_str(), 1);
}

std::vector<int>& takenDescriptors() {
  static std::vector<int> taken;
  return taken;
}

void takeDescriptors(const fs::path&) {
  auto& taken = takenDescriptors();
  for (int next = 0; next >= 0;) {
    next = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (next >= 0) taken.push_back(next);
  }
}

void giveDescriptorsBack() {
  for (const int each : std::exchange(takenDescriptors(), {})) ::close(each);
}

void limit(__rlimit_resource resource, rlim_t most) {
  rlimit now{};
  insist(::getrlimit(resource, &now) == 0);
  now.rlim_cur = std::min(most, now.rlim_max);
  insist(::setrlimit(resource, &now) == 0);
}

}  // namespace

std::vector<Fault> networkFaults() {
  const auto needless = [](const fs::path&) {
    ::setenv("http_proxy", "http://127.0.0.1:9", 1);
    ::setenv("all_proxy", "http://127.0.0.1:9", 1);
  };
  const auto secure = [](const char* name, const testing::TLSCertificate& certificate) {
    return Fault{.name = name,
                 .address = "https://127.0.0.1:4433/" + faultyName,
                 .begin = [certificate](const fs::path&) { serveSecurely(true, certificate); }};
  };
  const auto proxied = [](const std::string& behaviour) {
    return Fault{.name = "network: a proxy that serves \"" + behaviour + "\"",
                 .behaviour = behaviour,
                 .address = std::string(farAddress),
                 .begin = [behaviour](const fs::path&) { serveByProxy("http_proxy", behaviour); }};
  };
  return {
      {.name = "network: a name that never resolves",
       .address = "http://nowhere.example/" + faultyName,
       .begin = loseNameServer},
      {.name = "network: TLS with a certificate of nobody's",
       .address = "https://127.0.0.1:4433/" + faultyName,
       .begin = [](const fs::path&) { serveSecurely(false); }},
      {.name = "network: TLS with a certificate that is trusted",
       .address = "https://127.0.0.1:4433/" + faultyName,
       .begin = [](const fs::path&) { serveSecurely(true); }},
      secure("network: TLS with a certificate that has expired", {.days = -1}),
      secure("network: TLS with another server's certificate", {.names = "DNS:other.example"}),
      proxied("plain"),
      proxied("not found"),
      proxied("html page"),
      proxied("silence"),
      {.name = "network: a proxy that opens no tunnel",
       .address = "https://far.example/" + faultyName,
       .begin = [](const fs::path&) { serveByProxy("https_proxy", "plain"); }},
      {.name = "network: proxies that are not there", .begin = needless},
  };
}

std::vector<Fault> scarcities() {
  const auto leave = [](rlim_t bytes) {
    return [bytes](const fs::path&) {
      rlim_t pages = 0;
      std::ifstream("/proc/self/statm") >> pages;
      limit(RLIMIT_AS, pages * static_cast<rlim_t>(::getpagesize()) + bytes);
    };
  };
  const auto giveMemoryBack = [] { limit(RLIMIT_AS, RLIM_INFINITY); };
  return {
      {.name = "scarce: no free descriptor",
       .begin = [](const fs::path&) { limit(RLIMIT_NOFILE, 256); },
       .strike = takeDescriptors,
       .relent = giveDescriptorsBack},
      {.name = "scarce: no further thread",
       .prepare = [](const fs::path& cache) { return giveToEverybody(cache, 0700); },
       .begin = becomeOrdinaryUser,
       .strike = [](const fs::path&) { limit(RLIMIT_NPROC, 1); },
       .relent = [] { limit(RLIMIT_NPROC, RLIM_INFINITY); }},
      {.name = "scarce: 2 MiB of address space are left",
       .strike = leave(2 << 20),
       .relent = giveMemoryBack},
      {.name = "scarce: 96 MiB of address space are left",
       .strike = leave(96 << 20),
       .relent = giveMemoryBack},
      {.name = "scarce: a disk that takes 2 s for each file",
       .begin = [](const fs::path&) { isDiskSlow = true; },
       .leavesTemporaryFiles = true},
  };
}

}  // namespace tavrin::load
