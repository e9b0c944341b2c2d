#include "Load/SoakWorld.hpp"

#include <algorithm>
#include <cstdlib>
#include <fstream>

#include "Load/Clips.hpp"
#include "Tavrin/Foundation/FileManager.hpp"

namespace tavrin::load {

namespace {

namespace fs = std::filesystem;

constexpr int videos = 40;
constexpr const char* foreign = "Somebody else has put this here.";

std::string nameOf(int video) { return "video-" + std::to_string(video) + ".mp4"; }

}  // namespace

SoakWorld::SoakWorld(Dice& dice) : dice_(dice), behaviours_(testing::httpBehaviourNames()) {
  ::setenv("XDG_CACHE_HOME", home_.path().c_str(), 1);
  for (const auto* name : {"red.mp4", "green.mp4", "blue.mp4", "long.mp4"}) {
    bodies_.push_back(testing::shareBytes(testClip(name)));
  }
  bodies_.push_back(testing::shareBytes(sampleClip("squats.mp4")));
  startServer();
}

void SoakWorld::startServer() {
  server_.emplace();
  for (int video = 0; video < videos; ++video) serveAnew(video);
}

void SoakWorld::endServer() {
  if (!server_) return;
  earlierRequests_ += server_->requests().size();
  server_.reset();
}

std::size_t SoakWorld::countRequests() const {
  return earlierRequests_ + (server_ ? server_->requests().size() : 0);
}

// Half of the videos are served well.
void SoakWorld::serveAnew(int video) {
  const auto& body = bodies_[static_cast<std::size_t>(dice_.below(5))];
  const auto behaviour =
      static_cast<std::size_t>(dice_.below(static_cast<int>(behaviours_.size())));
  server_->serve("/" + nameOf(video), testing::HTTPResource{.body = body},
                 dice_.hits(50) ? "plain" : behaviours_[behaviour]);
}

std::vector<std::optional<Media>> SoakWorld::makeWorkout() {
  std::vector<std::optional<Media>> media;
  for (int count = 3 + dice_.below(5); count > 0; --count) {
    if (dice_.hits(15)) {
      media.emplace_back(Media(UUID::random(), server_->url("/still.gif"), {"image/gif"}));
    } else {
      const auto url = server_->url("/" + nameOf(dice_.below(videos)));
      media.emplace_back(Media(UUID::random(), url, {"video/mp4"}, dice_.hits(50)));
    }
  }
  return media;
}

void SoakWorld::interfere() {
  ++interferences_;
  const int video = dice_.below(videos);
  const int what = dice_.below(1000);
  if (what < 3) {
    endServer();  // the network is pulled, and comes back with other addresses
    startServer();
  } else if (what < 10) {
    std::error_code ignored;
    fs::remove_all(cache(), ignored);
  } else if (what < 200) {
    serveAnew(video);
  } else if (what < 500) {
    server_->release("/" + nameOf(video), static_cast<std::size_t>(1 + dice_.below(16)));
  } else {
    touchFile(cache() / nameOf(video));
  }
}

// A file may be renamed or deleted by a player at the same moment, so errors mean nothing here.
void SoakWorld::touchFile(const fs::path& file) {
  std::error_code ignored;
  const int what = dice_.below(10);
  if (what < 5) {
    fs::remove_all(file, ignored);
  } else if (what < 7) {
    const auto temporary = home_.path() / "new-file";
    std::ofstream(temporary, std::ios::binary)
        << *bodies_[static_cast<std::size_t>(dice_.below(5))];
    fs::rename(temporary, file, ignored);
  } else if (what < 8) {
    std::ofstream(file, std::ios::binary) << foreign;
  } else if (what < 9) {
    fs::remove(file, ignored);
    fs::create_directory(file, ignored);
  } else {
    restoreDirectory();
  }
}

void SoakWorld::restoreDirectory() {
  std::error_code ignored;
  fs::create_directory(cache(), ignored);
}

std::vector<std::string> SoakWorld::wrongFiles() const {
  std::vector<std::string> wrong;
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(cache(), ignored)) {
    if (!entry.is_regular_file()) continue;
    const auto bytes = contents(entry.path());
    const bool isBody =
        std::ranges::any_of(bodies_, [&](const auto& body) { return *body == bytes; });
    const bool isPage = bytes.starts_with("<html>");  // served with status 200
    if (!isBody && !isPage && bytes != foreign) wrong.push_back(entry.path().filename());
  }
  return wrong;
}

}  // namespace tavrin::load
