#include "App/WorkoutFile.hpp"

#include <algorithm>
#include <map>
#include <ranges>
#include <utility>

namespace tavrin::app {

namespace {

using nlohmann::json;

// Reads values of a document by their paths. The first value that is wrong ends the reading.
class Reader {
 public:
  explicit Reader(const JsonDocument& document) : document_(document) {}

  Workout workout() {
    requireObject("");
    Workout workout;
    workout.title = text("/title");
    workout.isExerciseLooping = flag("/exerciseLooping").value_or(false);
    const auto& media = value("/media");
    if (!media.is_array()) fail("/media", "\"media\" must be a list");
    if (media.empty()) fail("/media", "\"media\" holds no items");
    for (std::size_t i = 0; i < media.size(); ++i) {
      workout.items.push_back(item("/media/" + std::to_string(i)));
    }
    return workout;
  }

 private:
  Workout::Item item(const std::string& path) {
    requireObject(path);
    auto id = identifier(path + "/id");
    auto address = text(path + "/url");
    const bool isLocal = checkAddress(path + "/url", address);
    auto type = mimeType(path + "/mimeType");
    return {id, std::move(address), isLocal, std::move(type), flag(path + "/loopVideo")};
  }

  UUID identifier(const std::string& path) {
    const auto written = text(path);
    const auto id = UUID::parse(written);
    if (!id) {
      fail(path, "\"" + written +
                     "\" is not an identifier; one looks like "
                     "\"1cd8eb1b-566b-455d-b077-ffbc14d8860a\"");
    }
    const auto [first, isNew] = known_.emplace(*id, path);
    if (!isNew) {
      const auto line = std::to_string(document_.place(first->second).line);
      fail(path, "the item in line " + line + " has the same identifier");
    }
    return *id;
  }

  // Returns whether the address is that of a file in the workout's folder.
  bool checkAddress(const std::string& path, const std::string& address) {
    const auto url = URL::parse(address);
    if (!url) {
      fail(path, "\"" + address +
                     "\" is not an address: it is empty, or holds a space or a control "
                     "character (write %20 for a space)");
    }
    const auto parts = URLComponents::split(*url);
    if (!parts) fail(path, "\"" + address + "\" is not an address");
    if (parts->scheme) {
      if (*parts->scheme != "http" && *parts->scheme != "https") {
        fail(path, "addresses that begin with \"" + *parts->scheme +
                       ":\" are not supported; use http, https, or the name of a file beside "
                       "the workout");
      }
      if (!parts->authority || parts->authority->empty()) {
        fail(path, "\"" + address + "\" names no host");
      }
      return false;
    }
    if (parts->authority || parts->query || parts->fragment || !staysInFolder(parts->path)) {
      fail(path, "\"" + address + "\" is not the name of a file in the workout's folder");
    }
    return true;
  }

  static bool staysInFolder(std::string_view encodedPath) {
    const auto path = URL::percentDecode(encodedPath);
    if (path.empty() || path.front() == '/' || path.find('\0') != path.npos) return false;
    return std::ranges::none_of(path | std::views::split('/'), [](const auto& component) {
      const std::string_view name(component.begin(), component.end());
      return name.empty() || name == "." || name == "..";
    });
  }

  Media::MimeType mimeType(const std::string& path) {
    Media::MimeType type{text(path)};
    std::string lower = type.rawValue;
    std::ranges::transform(lower, lower.begin(), [](char c) {
      return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    if (!type.isVideo() && (!lower.starts_with("image/") || lower.size() == 6)) {
      fail(path, "\"" + type.rawValue +
                     "\" is neither a video's type, such as \"video/mp4\", nor an image's, such "
                     "as \"image/gif\"");
    }
    return type;
  }

  std::string text(const std::string& path) {
    const auto& found = value(path);
    if (!found.is_string()) fail(path, nameIn(path) + " must be text");
    return found.get<std::string>();
  }

  std::optional<bool> flag(const std::string& path) {
    const json::json_pointer pointer(path);
    if (!document_.root().contains(pointer)) return std::nullopt;
    const auto& found = document_.root()[pointer];
    if (found.is_null()) return std::nullopt;
    if (!found.is_boolean()) fail(path, nameIn(path) + " must be true or false");
    return found.get<bool>();
  }

  const json& value(const std::string& path) {
    const json::json_pointer pointer(path);
    if (!document_.root().contains(pointer)) fail(path, nameIn(path) + " is missing");
    return document_.root()[pointer];
  }

  void requireObject(const std::string& path) {
    if (!document_.root()[json::json_pointer(path)].is_object()) {
      fail(path,
           std::string(path.empty() ? "a workout" : "an item") + " must be an object, in braces");
    }
  }

  static std::string nameIn(const std::string& path) {
    return "\"" + path.substr(path.rfind('/') + 1) + "\"";
  }

  [[noreturn]] void fail(const std::string& path, std::string message) const {
    throw TextError{std::move(message), document_.place(path)};
  }

  const JsonDocument& document_;
  std::map<UUID, std::string> known_;  // the paths of the identifiers so far
};

}  // namespace

std::vector<std::string> Workout::localFiles() const {
  std::vector<std::string> paths;
  for (const auto& item : items) {
    if (item.isLocal) paths.push_back(URL::percentDecode(item.address));
  }
  return paths;
}

std::vector<Media> Workout::media(std::string_view folder) const {
  std::vector<Media> media;
  for (const auto& item : items) {
    const auto address = item.isLocal ? std::string(folder) + item.address : item.address;
    media.emplace_back(item.id, URL::parse(address), item.mimeType, item.loopVideo);
  }
  return media;
}

std::variant<Workout, TextError> parseWorkout(std::string_view json) {
  auto parsed = JsonDocument::parse(json);
  if (auto* error = std::get_if<TextError>(&parsed)) return std::move(*error);
  try {
    return Reader(std::get<JsonDocument>(parsed)).workout();
  } catch (TextError& error) {
    return std::move(error);
  }
}

}  // namespace tavrin::app
