#include "Load/FaultCampaignCache.hpp"

#include "Load/Clips.hpp"
#include "Tavrin/Foundation/FileManager.hpp"
#include "Tavrin/Testing/HTTPScript.hpp"

namespace tavrin::load {

namespace {

namespace fs = std::filesystem;
using Kind = testing::HTTPStep::Kind;

// The body that a behaviour serves with status 200, not encoded and as long as its head says;
// absent when it serves none.
std::optional<std::string> servedWhole(const std::string& behaviour, const std::string& clip) {
  const testing::HTTPResource resource{.body = testing::shareBytes(clip)};
  std::string head;
  std::string body;
  for (const auto& step : testing::httpBehaviour(behaviour)({}, resource)) {
    if (step.kind != Kind::send) continue;
    (head.empty() ? head : body) += step.bytes->substr(step.offset, step.length);
  }
  const auto length = "Content-Length: " + std::to_string(body.size()) + "\r\n";
  const bool isWhole = head.starts_with("HTTP/1.1 200 ") &&
                       head.find(length) != std::string::npos &&
                       head.find("Content-Encoding") == std::string::npos && !body.empty();
  return isWhole ? std::optional(body) : std::nullopt;
}

}  // namespace

PathLook PathLook::at(const fs::path& path) {
  std::error_code error;
  PathLook look{.type = fs::symlink_status(path, error).type(), .bytes = {}};
  if (look.type == fs::file_type::regular) look.bytes = contents(path);
  return look;
}

CacheEntry judgeEntry(const PathLook& before, const PathLook& after, const std::string& clip,
                      const std::string& behaviour) {
  if (after.type == fs::file_type::not_found) return {"no file"};
  if (after.type == fs::file_type::regular) {
    const auto size = std::to_string(after.bytes.size()) + " bytes";
    if (after.bytes == clip) return {"whole file"};
    if (after == before) return {"as it was put there, " + size};
    if (after.bytes == servedWhole(behaviour, clip)) return {"whole body as served, " + size};
    return {"POISONED, " + size, true};
  }
  return after == before ? CacheEntry{"as it was put there"} : CacheEntry{"NO FILE OF OURS", true};
}

int countTemporaryFiles(const fs::path& directory) {
  std::error_code error;
  int count = 0;
  for (const auto& entry : fs::directory_iterator(directory, error)) {
    if (FileManager::isTemporaryName(entry.path().filename().string())) ++count;
  }
  return count;
}

}  // namespace tavrin::load
