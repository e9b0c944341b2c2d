#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "Tests/App/CommandLine.hpp"
#include "Tests/Support/RangeServer.hpp"
#include "Tests/Support/TemporaryDirectory.hpp"

// The program from the outside: real engine, real cache, real network over loopback.
namespace tavrin::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::IsSupersetOf;

class RunTest : public ::testing::Test {
 protected:
  std::string path(const std::string& name) const { return (directory_.path() / name).string(); }

  CommandResult play(const std::string& arguments) const {
    return runPlayer(path("cache"), arguments);
  }

  // A workout of one item at an address.
  std::string workout(const std::string& address, const std::string& type = "video/mp4") const {
    std::ofstream(path("workout.json"))
        << R"({"title": "T", "media": [{"id": "1cd8eb1b-566b-455d-b077-ffbc14d8860a", "url": ")"
        << address << R"(", "mimeType": ")" << type << "\"}]}";
    return path("workout.json");
  }

  std::vector<nlohmann::json> trace() const {
    std::vector<nlohmann::json> events;
    std::ifstream lines(path("trace.jsonl"));
    for (std::string line; std::getline(lines, line);) {
      events.push_back(nlohmann::json::parse(line));
    }
    return events;
  }

  const TemporaryDirectory directory_;
};

TEST_F(RunTest, TheSampleIsDownloadedOnceAndStartsFromDiskAfterwards) {
  const auto cold = play("--headless --trace " + path("trace.jsonl"));
  EXPECT_EQ(cold.status, 0);
  EXPECT_THAT(cold.output, HasSubstr("from disk: 0 of 4 videos"));
  EXPECT_THAT(cold.output, HasSubstr("total: 6 items shown, 4 downloaded, 0 from disk, 0 failed"));
  // Each video plays one round, each image two seconds.
  EXPECT_GT(cold.time.count(), 6.4 + 2 + 8 + 8 + 2 + 6.4 - 1);

  std::vector<std::string> names;
  double last = 0;
  for (const auto& event : trace()) {
    EXPECT_GE(event["t"], last);
    last = event["t"];
    EXPECT_TRUE(event["args"].is_object());
    EXPECT_EQ(event.contains("state"), event["kind"] == "action");
    names.push_back(event["kind"].get<std::string>() + " " + event["name"].get<std::string>());
    if (event["name"] == "setPlayerIfNil") {
      EXPECT_THAT(event["state"].dump(), HasSubstr("player"));
    }
  }
  EXPECT_THAT(
      names,
      IsSupersetOf({"note workout", "action prepareMedia", "cache create", "action saveManagerId",
                    "cache prepareFirstTwoVideos", "cache saveVideosToCache", "download started",
                    "download stored", "action setMedia", "action setPlayer",
                    "cache returnVideoFromArr", "action setCurrentMedia", "action setPlayerIfNil",
                    "action playVideo", "player shown", "player playedToEnd",
                    "cache onSkipForwardPrepare", "note total"}));

  const auto warm = play("--headless --script 'set 1; wait ready; set 3; wait ready'");
  EXPECT_EQ(warm.status, 0);
  EXPECT_THAT(warm.output, HasSubstr("from disk: 4 of 4 videos"));
  EXPECT_THAT(warm.output, HasSubstr("total: 2 items shown, 0 downloaded, 2 from disk, 0 failed"));
}

TEST_F(RunTest, StepsPausesAndMutesAsAScriptSays) {
  const auto run =
      play("--headless --mute --trace " + path("trace.jsonl") +
           " --script 'set 1; wait ready; next; wait ready; next; wait ready; mute; pause; prev; "
           "wait ready; set 6; wait ready; next; wait ready; quit; set 2'");
  EXPECT_EQ(run.status, 0) << run.output;
  std::string steps;
  std::string sound;  // the player comes before or after its first item is current
  for (const auto& event : trace()) {
    const auto& state = event.value("state", nlohmann::json::object());
    if (state.contains("isMuted")) sound += state["isMuted"] == true ? "off " : "on ";
    if (event["name"] == "pause") steps += "pause ";
    if (event["name"] == "setCurrentMedia") {
      const auto address = event["args"]["media"].get<std::string>();
      steps += address.substr(address.rfind('/') + 1) + " ";
    }
  }
  // The last step goes round the end of the list.
  EXPECT_EQ(steps,
            "squats.mp4 stretch.gif lunges.webm pause stretch.gif jumping-jacks.mp4 squats.mp4 ");
  EXPECT_EQ(sound, "off on ");
}

TEST_F(RunTest, ItemsThatCannotBeShownEndInStatus3) {
  RangeServer server;
  server.serve("/missing.mp4", "no", "not found");
  server.serve("/garbage.mp4", std::string(30'000, 'x'));
  server.serve("/page.gif", {shareBytes("page"), "text/html"}, "html page");
  server.serve("/silent.mp4", std::string(30'000, 'x'), "silence");
  const std::vector<std::pair<std::string, std::string>> items = {
      {server.url("/missing.mp4").absoluteString(), "video/mp4"},
      {server.url("/garbage.mp4").absoluteString(), "video/mp4"},
      {server.url("/page.gif").absoluteString(), "image/gif"},
      {server.url("/missing.gif").absoluteString(), "image/gif"},
      {server.url("/silent.mp4").absoluteString(), "video/mp4"},
      {"http://127.0.0.1:1/refused.mp4", "video/mp4"},
      {"absent.mp4", "video/mp4"}};
  for (const auto& [address, type] : items) {
    const auto run = play("--headless --patience 2 " + workout(address, type));
    EXPECT_EQ(run.status, 3) << address << "\n" << run.output;
    EXPECT_THAT(run.output, HasSubstr("item: could not load: ")) << address;
    EXPECT_THAT(run.output, HasSubstr("0 items shown, ")) << address;
    EXPECT_THAT(run.output, HasSubstr(" 1 failed")) << address;
    EXPECT_LT(run.time.count(), 10) << address;
  }
}

TEST_F(RunTest, EndsAtOnceWhileAnItemWaitsForBytes) {
  RangeServer server;
  server.serve("/stalls.mp4", std::string(1'000'000, 'x'), "silence");
  const auto run =
      play("--headless --script 'set 1; wait 300ms; quit' --trace " + path("trace.jsonl") + " " +
           workout(server.url("/stalls.mp4").absoluteString()));
  EXPECT_EQ(run.status, 0) << run.output;
  // Even the first step takes the item that the cache downloads.
  EXPECT_EQ(server.countRequests("/stalls.mp4"), 1U);
  const auto events = trace();
  ASSERT_EQ(events.back()["name"], "destroy");
  // What is left of the run after the quit, the process's start and end included.
  EXPECT_LT(run.time.count() - 0.3, 1);
}

TEST_F(RunTest, WrongArgumentsAndFilesAreExplained) {
  const auto expectEnd = [&](const std::string& arguments, int status, const std::string& message) {
    const auto run = play("--headless " + arguments);
    EXPECT_EQ(run.status, status) << arguments;
    EXPECT_THAT(run.output, HasSubstr(message)) << arguments;
  };
  expectEnd("--help", 0, "wait ready");
  expectEnd("--tempo 3", 2, "--tempo");
  expectEnd("a.json b.json", 2, "b.json");
  expectEnd("--size 20x20", 2, "must be like 880x700");
  expectEnd("--patience soon", 2, "--patience");
  expectEnd("--script 'set 1; hop'", 2, "script: line 1, column 8: \"hop\" is no command");
  expectEnd("--script @/missing", 1, "cannot read the script \"/missing\"");
  expectEnd("/missing.json", 1, "cannot read the workout \"/missing.json\"");
  expectEnd(workout("file:///etc/passwd"), 1, "workout.json: line 1, column ");
  expectEnd("--trace /missing/trace", 1, "cannot write the trace \"/missing/trace\": No such");
  expectEnd("--trace /dev/full --script quit", 1, "the trace could not be written to its end");
  expectEnd("--script 'snapshot /missing/a.png'", 1, "cannot write the picture");
}

TEST_F(RunTest, OpensNoWindowWithoutADisplay) {
  const auto run = runPlayer(path("cache"), "--script 'set 1; wait ready; quit'",
                             "-u DISPLAY -u WAYLAND_DISPLAY -u SDL_VIDEODRIVER");
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.output, HasSubstr("no window: there is no display; playing without one"));
  EXPECT_THAT(run.output, HasSubstr("1 item shown"));
}

}  // namespace
}  // namespace tavrin::testing
