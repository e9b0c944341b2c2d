#include <gst/app/gstappsink.h>
#include <gst/gst.h>

#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

#include "Benchmarks/Peers/SteppingPeer.hpp"
#include "Benchmarks/Timing.hpp"

namespace tavrin::benchmarks {

namespace {

constexpr GstClockTime patience = 5 * GST_SECOND;

GstElement* made(GstElement* element) {
  if (element == nullptr) std::abort();
  return element;
}

/// A playbin3 whose pictures come into memory, and whose sound goes nowhere in its own time.
class Playbin {
 public:
  Playbin() : bin_(made(gst_element_factory_make("playbin3", nullptr))) {
    gst_util_set_object_arg(G_OBJECT(bin_), "flags", "video+audio");
    auto* sound = made(gst_element_factory_make("fakesink", nullptr));
    g_object_set(sound, "sync", TRUE, nullptr);
    const auto line = "videoconvert ! videoscale ! video/x-raw,format=BGRx,width=" +
                      std::to_string(SteppingPeer::width) +
                      ",height=" + std::to_string(SteppingPeer::height) +
                      " ! appsink name=pictures max-buffers=1 drop=true";
    auto* pictures = made(gst_parse_bin_from_description(line.c_str(), TRUE, nullptr));
    sink_ = made(gst_bin_get_by_name(GST_BIN(pictures), "pictures"));
    g_object_set(bin_, "audio-sink", sound, "video-sink", pictures, nullptr);
  }
  ~Playbin() {
    set(GST_STATE_NULL);
    gst_object_unref(sink_);
    gst_object_unref(bin_);
  }
  Playbin(const Playbin&) = delete;
  Playbin& operator=(const Playbin&) = delete;

  void set(GstState state) { gst_element_set_state(bin_, state); }
  void open(const std::string& file, GstState state) {
    set(GST_STATE_READY);
    char* address = gst_filename_to_uri(file.c_str(), nullptr);
    g_object_set(bin_, "uri", address, nullptr);
    g_free(address);
    set(state);
  }

  // Copies the next picture that a clip gives which has been set to play. Before it plays, asking
  // for one fails.
  bool draw() {
    gst_element_get_state(bin_, nullptr, nullptr, patience);
    auto* sample = gst_app_sink_try_pull_sample(GST_APP_SINK(sink_), patience);
    if (sample == nullptr) return false;
    GstMapInfo bytes;
    auto* buffer = gst_sample_get_buffer(sample);
    const bool isWhole =
        gst_buffer_map(buffer, &bytes, GST_MAP_READ) && bytes.size == pixels_.size();
    if (isWhole) {
      std::memcpy(pixels_.data(), bytes.data, bytes.size);
      gst_buffer_unmap(buffer, &bytes);
    }
    gst_sample_unref(sample);
    return isWhole;
  }

 private:
  GstElement* bin_;             // owned
  GstElement* sink_ = nullptr;  // owned
  std::vector<std::byte> pixels_ =
      std::vector<std::byte>(std::size_t{SteppingPeer::width} * SteppingPeer::height * 4);
};

class PrerolledPair final : public SteppingPeer {
 public:
  std::string name() const override { return "two playbin3, the next one paused ahead"; }
  void prepare(const std::string& file) override {
    next_->open(file, GST_STATE_PAUSED);
    prepared_ = file;
  }
  std::optional<double> step(const std::string& file) override {
    if (file != prepared_) return std::nullopt;
    const auto start = Clock::now();
    next_->set(GST_STATE_PLAYING);
    const bool isDrawn = next_->draw();
    const auto time = millisecondsSince(start);
    playing_->set(GST_STATE_READY);
    std::swap(playing_, next_);
    return isDrawn ? std::optional(time) : std::nullopt;
  }
  void stop() override {
    playing_->set(GST_STATE_NULL);
    next_->set(GST_STATE_NULL);
  }

 private:
  std::unique_ptr<Playbin> playing_ = std::make_unique<Playbin>();
  std::unique_ptr<Playbin> next_ = std::make_unique<Playbin>();
  std::string prepared_;
};

class ReplacedPlaybin final : public SteppingPeer {
 public:
  std::string name() const override { return "playbin3 with a new address"; }
  std::optional<double> step(const std::string& file) override {
    const auto start = Clock::now();
    playbin_.open(file, GST_STATE_PLAYING);
    const bool isDrawn = playbin_.draw();
    return isDrawn ? std::optional(millisecondsSince(start)) : std::nullopt;
  }
  void stop() override { playbin_.set(GST_STATE_NULL); }

 private:
  Playbin playbin_;
};

}  // namespace

SteppingPeers gstreamerPeers() {
  gst_init(nullptr, nullptr);
  SteppingPeers peers;
  peers.push_back(std::make_unique<PrerolledPair>());
  peers.push_back(std::make_unique<ReplacedPlaybin>());
  return peers;
}

}  // namespace tavrin::benchmarks
