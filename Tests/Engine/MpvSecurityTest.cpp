// What is served in place of a video is an item that fails, not a way to other files or hosts.
#include <gmock/gmock.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <fstream>

#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/Mpv/Internal/MpvHandle.hpp"
#include "Tavrin/Testing/RangeServer.hpp"
#include "Tavrin/Testing/RecordingListener.hpp"
#include "Tavrin/Testing/ScriptedResource.hpp"
#include "Tavrin/Testing/TemporaryDirectory.hpp"
#include "Tests/Engine/MpvSubject.hpp"

namespace tavrin::testing {

namespace {

using namespace std::chrono_literals;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

/// A local video that must stay closed, with a watch on it.
class Bait {
 public:
  Bait() : path_(directory_.path() / "bait.mp4"), watch_(inotify_init1(IN_NONBLOCK)) {
    const auto video = clip("green.mp4");
    std::ofstream(path_, std::ios::binary) << video.text();
    inotify_add_watch(watch_, path_.c_str(), IN_OPEN);
  }
  ~Bait() { close(watch_); }

  std::string path() const { return path_; }
  bool hasBeenOpened() const {
    alignas(inotify_event) std::array<char, 1024> events;
    return read(watch_, events.data(), events.size()) > 0;
  }

 private:
  TemporaryDirectory directory_;
  std::filesystem::path path_;
  int watch_;
};

struct Lure {
  std::string name;
  std::string extension;
  /// Of a file that names a video by an address or a path.
  std::string (*text)(const std::string& target);
};

const Lure lures[] = {
    {"m3u", ".m3u", [](const std::string& target) { return "#EXTM3U\n" + target + "\n"; }},
    {"plainList", ".m3u", [](const std::string& target) { return target + "\n"; }},
    {"hls", ".m3u8",
     [](const std::string& target) {
       return "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:1\n#EXTINF:1.0,\n" + target +
              "\n#EXT-X-ENDLIST\n";
     }},
    {"hlsMaster", ".m3u8",
     [](const std::string& target) {
       return "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1000\n" + target + "\n";
     }},
    {"pls", ".pls",
     [](const std::string& target) {
       return "[playlist]\nNumberOfEntries=1\nFile1=" + target + "\n";
     }},
    {"cue", ".cue",
     [](const std::string& target) {
       return "FILE \"" + target + "\" WAVE\n  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n";
     }},
    {"edl", ".edl", [](const std::string& target) { return "# mpv EDL v0\n" + target + ",0,1\n"; }},
    {"concat", ".ffconcat",
     [](const std::string& target) { return "ffconcat version 1.0\nfile '" + target + "'\n"; }},
    {"dash", ".mpd",
     [](const std::string& target) {
       return "<?xml version=\"1.0\"?><MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" type=\"static\" "
              "mediaPresentationDuration=\"PT1S\"><Period><AdaptationSet mimeType=\"video/mp4\">"
              "<Representation id=\"1\" bandwidth=\"1000\"><BaseURL>" +
              target + "</BaseURL></Representation></AdaptationSet></Period></MPD>";
     }},
    {"sdp", ".sdp",
     [](const std::string& target) {
       return "v=0\no=- 0 0 IN IP4 127.0.0.1\na=control:" + target;
     }},
};

class MpvRefusalTest : public ::testing::Test {
 protected:
  bool fails(MediaEngine::LoadId load) {
    const auto number = std::to_string(load);
    DispatchQueue::main().runUntil(
        [&] {
          return listener->count("failed " + number) + listener->count("ready " + number) > 0;
        },
        30s);
    return listener->count("failed " + number) == 1 && listener->count("ready " + number) == 0;
  }

  ErrorLog log;
  RangeServer server;
  std::shared_ptr<RecordingListener> listener = std::make_shared<RecordingListener>();
  std::unique_ptr<MediaEngine> engine = makeMpvEngine(listener, log.options());
};

class MpvSecurityTest : public MpvRefusalTest, public ::testing::WithParamInterface<Lure> {};

}  // namespace

TEST_P(MpvSecurityTest, DoesNotFollowWhatAListNames) {
  const Bait bait;
  std::ifstream(bait.path()).get();
  ASSERT_TRUE(bait.hasBeenOpened()) << "the watch sees nothing";
  server.serve("/bait.mp4", std::string(clip("green.mp4").text()));
  engine->setPlaying(true);

  MediaEngine::LoadId load = 0;
  std::vector<std::shared_ptr<ScriptedResource>> resources;
  for (const auto& target :
       {bait.path(), "file://" + bait.path(), server.url("/bait.mp4").absoluteString()}) {
    const auto text = GetParam().text(target);
    resources.push_back(ScriptedResource::make(Data(text)));
    engine->load(++load, resources.back()->asset());
    EXPECT_TRUE(fails(load)) << target;

    const auto path = "/list" + std::to_string(load) + GetParam().extension;
    server.serve(path, text);
    engine->load(++load, AVURLAsset::make(server.url(path)));
    EXPECT_TRUE(fails(load)) << target << ", by its address";
  }
  EXPECT_FALSE(bait.hasBeenOpened());
  EXPECT_EQ(server.countRequests("/bait.mp4"), 0u);
}

INSTANTIATE_TEST_SUITE_P(Lures, MpvSecurityTest, ::testing::ValuesIn(lures),
                         [](const auto& parameter) { return parameter.param.name; });

TEST_F(MpvRefusalTest, FailsForWhatHasNoMovingPicture) {
  const std::pair<const char*, Data> files[] = {
      {"empty", Data()},
      {"text", Data("Nothing to see here.\n")},
      {"page", Data("<!DOCTYPE html><title>Not found</title>")},
      {"sound", clip("sound.m4a")},
      {"still", clip("still.png")},
      {"noise", Data(std::string(100'000, '\x5A'))},
      {"head alone", clip("red.mp4").subdata(0, 200)},
  };
  MediaEngine::LoadId load = 0;
  engine->setPlaying(true);
  for (const auto& [name, bytes] : files) {
    const auto resource = ScriptedResource::make(bytes);
    engine->load(++load, resource->asset());
    EXPECT_TRUE(fails(load)) << name;
  }
}

TEST_F(MpvRefusalTest, LeavesTheNetworkToOurSession) {
  server.serve("/clip.mp4", std::string(clip("red.mp4").text()));
  Bell bell;
  std::string why;
  const auto handle = MpvHandle::make(log.options(), bell, why);
  ASSERT_TRUE(handle) << why;
  handle->command({"loadfile", server.url("/clip.mp4").absoluteString().c_str()});
  bool hasEnded = false;
  const auto deadline = std::chrono::steady_clock::now() + 30s;
  do {
    while (const auto event = handle->nextEvent()) {
      hasEnded = hasEnded || event->kind == MpvEvent::Kind::fileEnded;
    }
  } while (!hasEnded && bell.waitUntil(deadline));
  EXPECT_TRUE(hasEnded);
  EXPECT_EQ(server.requests().size(), 0u);
}

// Each of libmpv's scripts has a thread of its own; newer versions bring more of them.
TEST_F(MpvRefusalTest, RunsNoScript) {
  const auto resource = ScriptedResource::make(clip("red.mp4"));
  engine->load(1, resource->asset());
  ASSERT_FALSE(fails(1));
  EXPECT_THAT(threadNames(), Each(Not(HasSubstr("lua"))));
}

TEST_F(MpvRefusalTest, OpensPlainAddressesOfTheNetworkAlone) {
  const Bait bait;
  server.serve("/clip.mp4", std::string(clip("red.mp4").text()));
  engine->load(1, AVURLAsset::make(server.url("/clip.mp4")));
  EXPECT_FALSE(fails(1));
  EXPECT_THAT(listener->reports(), ElementsAre("ready 1"));

  MediaEngine::LoadId load = 1;
  server.serve("/file", std::string(), "redirect to file");
  server.serve("/missing", std::string(), "not found");
  server.serve("/nothing", std::string(), "no content");  // told at once
  const std::string addresses[] = {URL::file(bait.path()).absoluteString(),
                                   bait.path(),
                                   "edl://" + bait.path(),
                                   "memory://" + bait.path(),
                                   "lavf://" + bait.path(),
                                   "cachingPlayerItemScheme://cachedVideo/clip.mp4",
                                   "tavrin-reader://1",
                                   server.url("/file").absoluteString(),
                                   server.url("/missing").absoluteString(),
                                   server.url("/nothing").absoluteString()};
  for (const auto& address : addresses) {
    engine->load(++load, AVURLAsset::make(*URL::parse(address)));
    EXPECT_TRUE(fails(load)) << address;
  }
  EXPECT_FALSE(bait.hasBeenOpened());
}

}  // namespace tavrin::testing
