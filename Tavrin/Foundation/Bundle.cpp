#include "Tavrin/Foundation/Bundle.hpp"

#include <charconv>
#include <cstdint>
#include <fstream>
#include <string>
#include <system_error>

namespace tavrin {
namespace {

constexpr int levelsAboveTheCode = 3;

// The kernel's table of mappings names the file in full. The dynamic loader's own names are as they
// were given at start: a relative one is wrong after the first change of directory.
struct Mapping {
  std::uintptr_t begin = 0;
  std::uintptr_t end = 0;
  std::string file;
};

// A line reads "begin-end access offset device inode   file".
std::optional<Mapping> parseMapping(const std::string& line) {
  Mapping mapping;
  const char* const end = line.data() + line.size();
  auto parsed = std::from_chars(line.data(), end, mapping.begin, 16);
  if (parsed.ec != std::errc() || parsed.ptr == end) return std::nullopt;
  parsed = std::from_chars(parsed.ptr + 1, end, mapping.end, 16);
  if (parsed.ec != std::errc()) return std::nullopt;
  const auto file = line.find('/');
  if (file != std::string::npos) mapping.file = line.substr(file);
  return mapping;
}

std::filesystem::path fileHolding(const void* address) {
  const auto wanted = reinterpret_cast<std::uintptr_t>(address);
  std::ifstream mappings("/proc/self/maps");
  for (std::string line; std::getline(mappings, line);) {
    auto mapping = parseMapping(line);
    if (!mapping || wanted < mapping->begin || wanted >= mapping->end) continue;
    // So ends the name of a file that was replaced while it runs; the new one lies beside it.
    constexpr std::string_view deleted = " (deleted)";
    if (mapping->file.ends_with(deleted)) {
      mapping->file.resize(mapping->file.size() - deleted.size());
    }
    return mapping->file;
  }
  return {};
}

}  // namespace

std::shared_ptr<const Bundle> Bundle::holding(const void* address) {
  const auto beside = fileHolding(address).parent_path();
  auto directory = beside;
  for (int level = 0; level <= levelsAboveTheCode; ++level, directory = directory.parent_path()) {
    auto resources = directory / "share" / "tavrin" / "Resources";
    std::error_code ignored;
    if (std::filesystem::is_directory(resources, ignored)) return make(std::move(resources));
  }
  return make(beside / "share" / "tavrin" / "Resources");
}

std::shared_ptr<const Bundle> Bundle::make(std::filesystem::path directory) {
  return std::shared_ptr<const Bundle>(new Bundle(std::move(directory)));
}

std::optional<Data> Bundle::resource(std::string_view fileName) const {
  constexpr std::string_view forbidden("/\0", 2);
  if (fileName.find_first_of(forbidden) != std::string_view::npos) return std::nullopt;
  const auto path = directory_ / fileName;
  std::error_code error;
  const auto size = std::filesystem::file_size(path, error);
  if (error) return std::nullopt;
  std::ifstream file(path, std::ios::binary);
  Data contents;
  const auto bytes = std::as_writable_bytes(contents.resize(static_cast<std::int64_t>(size)));
  file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!file) return std::nullopt;
  return contents;
}

}  // namespace tavrin
