#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "Tavrin/Testing/RangeServer.hpp"
#include "Tavrin/Testing/TemporaryDirectory.hpp"
#include "Tests/App/CommandLine.hpp"
#include "Tests/Support/Sanitizers.hpp"

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
  EXPECT_THAT(play("--headless " + workout("absent.mp4")).output,
              HasSubstr("could not load: The file \"absent.mp4\" is missing"));
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
  EXPECT_LT(run.time.count(), 8) << "an item may wait for 15 s";
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
  for (const char* none : {"soon", "nan", "inf", "0", "1e9"}) {
    expectEnd("--patience " + std::string(none), 2, "--patience: must be 0.1 to 3600 seconds");
  }
  expectEnd("--script 'set 1; hop'", 2, "script: line 1, column 8: \"hop\" is no command");
  expectEnd("--script @/missing", 1, "cannot read the script \"/missing\"");
  expectEnd("/missing.json", 1, "cannot read the workout \"/missing.json\": No such");
  expectEnd(workout("file:///etc/passwd"), 1, "workout.json: line 1, column ");
  expectEnd("--trace /missing/trace", 1, "cannot write the trace \"/missing/trace\": No such");
  expectEnd("--trace /dev/full --script quit", 1, "the trace could not be written to its end");
  expectEnd("--script 'snapshot /missing/a.png'", 1, "cannot write the picture");
  expectEnd("--script quit >/dev/full", 1, "standard output could not be written to its end");
}

// For a command; a sanitizer needs more than any.
const std::string memoryBound = isSanitized ? "" : "ulimit -v 300000; ";  // KiB

TEST_F(RunTest, NeitherHugeFilesNorPipesNorClosedStreamsHarmIt) {
  std::ofstream(path("sparse.json")) << "{";
  std::filesystem::resize_file(path("sparse.json"), 12LL << 30);
  // A small file whose places were long texts, one for each value.
  const std::string name(300, 'n');
  std::string deep = "{\"title\": \"T\", \"media\": [], \"x\": ";
  for (int i = 0; i < 60; ++i) deep += "{\"" + name + "\":";
  deep += "[";
  for (int i = 0; i < 20'000; ++i) deep += "0,";
  std::ofstream(path("deep.json")) << deep << "0]" << std::string(61, '}');
  std::ofstream many(path("many.json"));
  for (int i = 0; i < 1'000'000; ++i) many << (i == 0 ? '[' : ',') << "[]";
  many.close();
  const std::pair<const char*, const char*> files[] = {{"sparse.json", "is larger than 4 MiB"},
                                                       {"deep.json", "\"media\" holds no items"},
                                                       {"many.json", "holds too many values"}};
  for (const auto& [file, message] : files) {
    const auto run = runCommand(memoryBound + TAVRIN_WORKOUT_PLAYER " --headless " + path(file));
    EXPECT_EQ(run.status, 1) << run.output;
    EXPECT_THAT(run.output, HasSubstr(message));
    EXPECT_LT(run.output.size(), 500U);
  }

  ASSERT_EQ(mkfifo(path("pipe.mp4").c_str(), 0600), 0);
  const auto pipe = play("--headless " + workout("pipe.mp4"));
  EXPECT_EQ(pipe.status, 3) << pipe.output;
  EXPECT_LT(pipe.time.count(), 8) << "refused, not waited for";

  // The trace has the number of no stream.
  const auto closed =
      play("--headless --script quit --trace " + path("trace.jsonl") + " <&- >&- 2>&-");
  EXPECT_EQ(closed.status, 0);
  EXPECT_EQ(trace().front()["name"], "workout");
  // The reader of the pipe has gone before the first line.
  runCommand("(" TAVRIN_WORKOUT_PLAYER " --headless --script 'snapshot " + path("a.png") +
             "'; echo $? >" + path("status") + ") 2>/dev/null | true");
  EXPECT_TRUE(std::filesystem::exists(path("a.png")));
  int status = 0;
  std::ifstream(path("status")) >> status;
  EXPECT_EQ(status, 1);
}

TEST_F(RunTest, APictureMayStayForAsLongAsItsClipWants) {
  std::filesystem::copy_file(TAVRIN_APP_CLIPS "/one-picture-in-20s.mp4", path("still.mp4"));
  const auto run = play("--headless --patience 2 --script 'set 1; wait ready; wait 2500ms' " +
                        workout("still.mp4"));
  EXPECT_EQ(run.status, 0) << run.output;
}

TEST_F(RunTest, ASeekGoesToThePlaceAndPlaysOnFromThere) {
  const auto run = play(
      "--headless --script 'set 1; wait ready; seek 6s; wait end; seek 1s; "
      "wait 300ms; snapshot " +
      path("1.png") + "'");
  EXPECT_EQ(run.status, 0) << run.output;
  EXPECT_LT(run.time.count(), 6) << "the clip has 6.4 s";
  EXPECT_THAT(run.output, HasSubstr("playback: playing"));
}

TEST_F(RunTest, APageInAVideosPlaceIsNotKept) {
  RangeServer server;
  server.serve("/portal.mp4", {shareBytes("login"), "text/html"}, "html page");
  const auto run = play("--headless --script 'set 1; wait ready; wait stored' --patience 2 " +
                        workout(server.url("/portal.mp4").absoluteString()));
  EXPECT_EQ(run.status, 3) << run.output;
  EXPECT_THAT(run.output, HasSubstr("answered with text/html"));
  EXPECT_FALSE(std::filesystem::exists(path("cache/VideoCache/portal.mp4")));
}

TEST_F(RunTest, NobodyElseWritesToTheTerminal) {
  RangeServer server;
  server.serve("/a.mp4", "no", "not found");
  std::ofstream(path("workout.json"))
      << R"({"title": "\u001b[2J\nforged \u009b31m", "media": [{"id":
          "1cd8eb1b-566b-455d-b077-ffbc14d8860a", "mimeType": "video/mp4", "url": ")"
      << server.url("/%1b%5d0;title%07%0aa.mp4").absoluteString() << "\"}]}";
  const auto run = play("--headless --script 'set 1; wait ready' --patience 2 " +
                        path("workout.json") + " --trace " + path("trace.jsonl"));
  EXPECT_THAT(run.output, HasSubstr("\\x1b[2J\\x0aforged \\u009b31m, 1 items"));
  EXPECT_THAT(run.output, HasSubstr("\\x1b]0;title\\x07\\x0aa.mp4: streaming"));
  EXPECT_EQ(run.output.find_first_of("\x1b\x07\x9b"), std::string::npos) << run.output;
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
