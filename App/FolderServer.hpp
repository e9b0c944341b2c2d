#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "Tavrin/Foundation/Error.hpp"

struct MHD_Daemon;

namespace tavrin::app {

/// Serves files of a folder over HTTP, on the loopback interface alone, so that a workout's local
/// files take the same way as those from the network: downloaded, cached, read by ranges.
///
/// Only the files that it is told are served, and no others of the folder.
class FolderServer {
 public:
  struct File {
    std::string path;  // relative to the folder
    std::string contentType;
  };

  /// Starts serving at a free port. A file that cannot be opened is answered with 404.
  static std::variant<std::unique_ptr<FolderServer>, Error> start(std::string folder,
                                                                  const std::vector<File>& files);
  /// Why a file cannot be served, for a person; absent when it can.
  static std::optional<Error> whyNot(const std::string& folder, const std::string& path);
  /// Ends every connection at once.
  ~FolderServer();
  FolderServer(const FolderServer&) = delete;
  FolderServer& operator=(const FolderServer&) = delete;

  /// "http://127.0.0.1:PORT/"
  const std::string& address() const { return address_; }

 private:
  struct Handler;
  struct Stop {
    void operator()(MHD_Daemon* daemon) const;
  };

  FolderServer(std::string folder, const std::vector<File>& files);

  // Constant once the server runs: its thread reads them.
  const std::string folder_;
  std::map<std::string, std::string, std::less<>> types_;  // by path
  std::string address_;
  std::unique_ptr<MHD_Daemon, Stop> daemon_;
};

}  // namespace tavrin::app
