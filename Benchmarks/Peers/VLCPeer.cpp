#include <vlc/vlc.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <iterator>
#include <mutex>
#include <vector>

#include "Benchmarks/Peers/SteppingPeer.hpp"
#include "Benchmarks/Timing.hpp"

namespace tavrin::benchmarks {

namespace {

class VLC final : public SteppingPeer {
 public:
  VLC() {
    const char* arguments[] = {"--quiet", "--aout=adummy"};
    vlc_ = libvlc_new(static_cast<int>(std::size(arguments)), arguments);
    if (vlc_ == nullptr) std::abort();
    player_ = libvlc_media_player_new(vlc_);
    libvlc_video_set_callbacks(player_, lock, nullptr, display, this);
    libvlc_video_set_format(player_, "RV32", width, height, width * 4);
  }
  ~VLC() override {
    libvlc_media_player_stop(player_);
    libvlc_media_player_release(player_);
    libvlc_release(vlc_);
  }

  std::string name() const override { return "libVLC with a new media"; }
  std::optional<double> step(const std::string& file) override {
    const auto start = Clock::now();
    auto* media = libvlc_media_new_path(vlc_, file.c_str());
    libvlc_media_player_set_media(player_, media);  // the old one shows nothing after this
    libvlc_media_release(media);
    std::unique_lock hold(mutex_);
    const auto before = pictures_;
    hold.unlock();
    if (libvlc_media_player_play(player_) != 0) return std::nullopt;
    hold.lock();
    const bool isDrawn =
        changed_.wait_for(hold, std::chrono::seconds(5), [&] { return pictures_ != before; });
    return isDrawn ? std::optional(millisecondsSince(start)) : std::nullopt;
  }
  void stop() override { libvlc_media_player_stop(player_); }

 private:
  static void* lock(void* self, void** planes) {
    *planes = static_cast<VLC*>(self)->pixels_.data();
    return nullptr;
  }
  static void display(void* opaque, void*) {
    auto& self = *static_cast<VLC*>(opaque);
    const std::scoped_lock hold(self.mutex_);
    ++self.pictures_;
    self.changed_.notify_all();
  }

  libvlc_instance_t* vlc_ = nullptr;         // owned
  libvlc_media_player_t* player_ = nullptr;  // owned
  std::vector<std::byte> pixels_ = std::vector<std::byte>(std::size_t{width} * height * 4);
  std::mutex mutex_;
  std::condition_variable changed_;
  int pictures_ = 0;  // by mutex_
};

}  // namespace

SteppingPeers vlcPeers() {
  SteppingPeers peers;
  peers.push_back(std::make_unique<VLC>());
  return peers;
}

}  // namespace tavrin::benchmarks
