#include "Load/FaultCampaignFault.hpp"

#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>

#include "Tavrin/Item/CachingPlayerItem.hpp"
#include "Tavrin/Mpv/MpvEngine.hpp"

namespace tavrin::load {

namespace {

namespace fs = std::filesystem;

// Room for the neighbours, not for the faulty video.
constexpr const char* smallDisk = "size=32k,mode=0777";
constexpr rlim_t smallFile = 16 * 1024;
constexpr std::int64_t mostPixels = 40'000;
constexpr uid_t nobody = 65534;

void limitFiles(const fs::path&) {
  std::signal(SIGXFSZ, SIG_IGN);
  const rlimit limit{smallFile, smallFile};
  if (::setrlimit(RLIMIT_FSIZE, &limit) != 0) std::abort();
}

bool mountSmallDisk(const fs::path& cache) {
  return ::mount("none", cache.c_str(), "tmpfs", 0, smallDisk) == 0;
}

bool mountReadOnlyDisk(const fs::path& cache) {
  return ::mount("none", cache.c_str(), "tmpfs", MS_RDONLY, smallDisk) == 0;
}

void unmount(const fs::path& cache) {
  if (::umount(cache.c_str()) != 0) std::abort();
}

bool put(const fs::path& path, const std::string& text) {
  std::ofstream file(path, std::ios::binary);
  file << text;
  return file.flush().good();
}

bool putUnreadableFile(const fs::path& cache) {
  const auto path = cache / faultyName;
  return put(path, "not to be read") && giveToEverybody(cache, 0700) &&
         ::chmod(path.c_str(), 0) == 0;
}

}  // namespace

void becomeOrdinaryUser(const fs::path&) {
  if (::geteuid() == 0 && (::setgid(nobody) != 0 || ::setuid(nobody) != 0)) std::abort();
}

bool giveToEverybody(const fs::path& path, mode_t mode) {
  if (::geteuid() == 0 && (::chmod(path.parent_path().c_str(), 0755) != 0 ||
                           ::chown(path.c_str(), nobody, nobody) != 0)) {
    return false;
  }
  return ::chmod(path.c_str(), mode) == 0;
}

std::vector<Fault> diskFaults() {
  const auto removeAll = [](const fs::path& cache) { fs::remove_all(cache); };
  const auto replaceByFile = [](const fs::path& cache) {
    fs::remove_all(cache);
    put(cache, "in the way");
  };
  const auto holding = [](const std::string& text) {
    return [text](const fs::path& cache) { return put(cache / faultyName, text); };
  };
  return {
      {.name = "full disk (tmpfs)", .prepare = mountSmallDisk, .mend = unmount},
      {.name = "full disk (limit on file size)", .begin = limitFiles},
      {.name = "read-only disk (tmpfs)", .prepare = mountReadOnlyDisk, .mend = unmount},
      {.name = "read-only directory",
       .prepare = [](const fs::path& cache) { return giveToEverybody(cache, 0500); },
       .begin = becomeOrdinaryUser},
      {.name = "unreadable file", .prepare = putUnreadableFile, .begin = becomeOrdinaryUser},
      {.name = "directory in the file's place",
       .prepare = [](const fs::path& cache) { return fs::create_directory(cache / faultyName); }},
      {.name = "pipe in the file's place",
       .prepare =
           [](const fs::path& cache) { return ::mkfifo((cache / faultyName).c_str(), 0600) == 0; }},
      {.name = "link to itself in the file's place",
       .prepare =
           [](const fs::path& cache) {
             return ::symlink(faultyName.c_str(), (cache / faultyName).c_str()) == 0;
           }},
      {.name = "text in the file's place", .prepare = holding("This is no video.")},
      {.name = "empty file in the file's place", .prepare = holding("")},
      {.name = "directory removed before the download ends",
       .behaviour = "stall",
       .strike = removeAll},
      {.name = "file in the directory's place before the download ends",
       .behaviour = "stall",
       .strike = replaceByFile},
  };
}

std::vector<Fault> bounds() {
  const auto holdLittle = [](const fs::path&) {
    CachingPlayerItem::setMemoryLimit(static_cast<std::int64_t>(smallFile));
  };
  const auto drawLittle = [](const fs::path&) {
    MediaEngine::setFactory([](auto listener) {
      MpvEngineOptions options;
      options.sound = MpvEngineOptions::Sound::none;
      options.maxPixels = mostPixels;
      return makeMpvEngine(std::move(listener), options);
    });
  };
  return {{.name = "bound: more bytes than memory may hold, without a disk",
           .prepare = mountReadOnlyDisk,
           .begin = holdLittle,
           .mend = unmount},
          {.name = "bound: more pixels than may be drawn", .begin = drawLittle}};
}

std::vector<Fault> serverFaults() {
  std::vector<Fault> faults;
  for (const auto& name : testing::httpBehaviourNames()) {
    faults.push_back({.name = "server: " + name, .behaviour = name});
  }
  using testing::HTTPStep;
  const std::string hostile =
      "\x1b]0;owned\x07\x1b[2J\xc2\x9b"
      "31m--> http://forged.mp4 removed";
  const auto head = [](std::string_view status, const std::string& line) {
    return testing::HTTPScript{testing::httpHead(status, line + "\r\nContent-Length: 1\r\n"),
                               HTTPStep::send("x"), HTTPStep::close()};
  };
  faults.push_back({.name = "server: control characters in the name of an encoding",
                    .answer = head("200 OK", "Content-Encoding: " + hostile)});
  faults.push_back({.name = "server: control characters in the address of a redirect",
                    .answer = head("302 Found", "Location: no://" + hostile)});
  faults.push_back({.name = "server: a redirect with a body without end", .answer = [] {
                      testing::HTTPScript page{testing::httpHead(
                          "302 Found", "Location: /red.mp4\r\nContent-Length: 99999999\r\n")};
                      const auto part = testing::shareBytes(std::string(1 << 20, 'x'));
                      for (int i = 0; i < 95; ++i) page.push_back(HTTPStep::send(part, 0, 1 << 20));
                      page.push_back(HTTPStep::pause());
                      return page;
                    }()});
  return faults;
}

}  // namespace tavrin::load
