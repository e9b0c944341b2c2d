#pragma once

#include <filesystem>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "Tavrin/Models/Media.hpp"
#include "Tavrin/Testing/RangeServer.hpp"
#include "Tavrin/Testing/TemporaryDirectory.hpp"

namespace tavrin::load {

/// The draws of one soak, the same for the same seed.
class Dice {
 public:
  explicit Dice(std::uint64_t seed) : random_(seed) {}

  /// At least 0, below `count`, which is positive.
  int below(int count) { return std::uniform_int_distribution<int>(0, count - 1)(random_); }
  bool hits(int percent) { return below(100) < percent; }

 private:
  std::mt19937_64 random_;
};

/// What surrounds the players of a soak: a server that misbehaves, and a cache directory in which
/// somebody else makes and deletes files. Main thread only.
class SoakWorld {
 public:
  /// Points the process's caches directory to a directory of its own.
  explicit SoakWorld(Dice& dice);

  /// Three to seven items: videos of the server, now and then an image.
  std::vector<std::optional<Media>> makeWorkout();

  /// Does one thing that no player asked for.
  void interfere();
  /// Takes the server away, with all its connections.
  void endServer();
  /// Starts a new one, at another address.
  void startServer();
  testing::RangeServer& server() { return *server_; }

  /// The names of cached files that hold neither a body that was served whole nor what this world
  /// has put there.
  std::vector<std::string> wrongFiles() const;
  /// Puts the cache directory right again.
  void restoreDirectory();

  std::size_t countInterferences() const { return interferences_; }
  std::size_t countRequests() const;

 private:
  void serveAnew(int video);
  void touchFile(const std::filesystem::path& file);
  std::filesystem::path cache() const { return home_.path() / "VideoCache"; }

  Dice& dice_;
  testing::TemporaryDirectory home_;
  std::optional<testing::RangeServer> server_;
  std::vector<testing::SharedBytes> bodies_;
  std::vector<std::string> behaviours_;
  std::size_t interferences_ = 0;
  std::size_t earlierRequests_ = 0;  // of servers that are gone
};

}  // namespace tavrin::load
