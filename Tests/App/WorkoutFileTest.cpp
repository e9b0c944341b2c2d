#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "App/WorkoutFile.hpp"

namespace tavrin::app {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

std::string errorOf(std::string_view json) {
  const auto parsed = parseWorkout(json);
  const auto* error = std::get_if<TextError>(&parsed);
  return error ? error->text() : "no error";
}

// A workout whose second item, in line 4, is the given one.
std::string withItem(const std::string& item) {
  return "{\"title\": \"T\",\n\"media\": [\n"
         "  {\"id\": \"1cd8eb1b-566b-455d-b077-ffbc14d8860a\", \"url\": \"a.mp4\", "
         "\"mimeType\": \"video/mp4\"},\n  " +
         item + "\n]}";
}

std::string item(const std::string& id, const std::string& url, const std::string& type) {
  return R"({"id": ")" + id + R"(", "url": ")" + url + R"(", "mimeType": ")" + type + "\"}";
}

constexpr const char* otherId = "6abb0ae4-d307-4c02-8854-64d92494003c";

TEST(WorkoutFile, ReadsItsItemsAndResolvesTheLocalOnesAgainstTheFolder) {
  const auto parsed = parseWorkout(R"({
    "title": "Mörning", "exerciseLooping": true, "author": {"passed": "over"},
    "media": [
      {"id": "1CD8EB1B-566B-455D-B077-FFBC14D8860A", "url": "clips/my%20squats.mp4",
       "mimeType": "video/mp4", "loopVideo": true},
      {"id": "6abb0ae4-d307-4c02-8854-64d92494003c", "url": "https://host/a?b=c#d",
       "mimeType": "image/gif", "loopVideo": null}]})");
  const auto* workout = std::get_if<Workout>(&parsed);
  ASSERT_NE(workout, nullptr);
  EXPECT_EQ(workout->title, "Mörning");
  EXPECT_TRUE(workout->isExerciseLooping);
  EXPECT_THAT(workout->localFiles(), ElementsAre("clips/my squats.mp4"));

  const auto media = workout->media("http://127.0.0.1:80/");
  ASSERT_EQ(media.size(), 2U);
  EXPECT_EQ(media[0].url->absoluteString(), "http://127.0.0.1:80/clips/my%20squats.mp4");
  EXPECT_EQ(media[0].loopVideo, true);
  EXPECT_EQ(media[1].url->absoluteString(), "https://host/a?b=c#d");
  EXPECT_EQ(media[1].loopVideo, std::nullopt);
}

TEST(WorkoutFile, TellsWhereTheTextIsNoJSON) {
  EXPECT_THAT(errorOf("{\n  \"title\": \"é\" oops"), HasSubstr("line 2, column 16: "));
  EXPECT_THAT(errorOf(""), HasSubstr("line 1, column 1: "));
  EXPECT_THAT(errorOf("{\"title\": \"a\",\n \"title\": \"b\"}"),
              HasSubstr("line 2, column 8: this name stands twice"));
  EXPECT_THAT(errorOf(std::string(100'000, '[')),
              HasSubstr("line 1, column 65: this is nested too deeply"));
}

TEST(WorkoutFile, TellsWhereAValueIsMissingOrOfAnotherKind) {
  EXPECT_EQ(errorOf("[]"), "line 1, column 1: a workout must be an object, in braces");
  EXPECT_EQ(errorOf("\n {}"), "line 2, column 2: \"title\" is missing");
  EXPECT_EQ(errorOf("{\"title\":  7}"), "line 1, column 12: \"title\" must be text");
  EXPECT_EQ(errorOf(R"({"title": "T", "exerciseLooping": 1, "media": []})"),
            "line 1, column 35: \"exerciseLooping\" must be true or false");
  EXPECT_EQ(errorOf(R"({"title": "T", "media": {}})"),
            "line 1, column 25: \"media\" must be a list");
  EXPECT_EQ(errorOf(R"({"title": "T", "media": []})"),
            "line 1, column 25: \"media\" holds no items");
  EXPECT_EQ(errorOf(withItem("true")), "line 4, column 6: an item must be an object, in braces");
  EXPECT_EQ(errorOf(withItem("{\"id\": 5}")), "line 4, column 10: \"id\" must be text");
  EXPECT_EQ(errorOf(withItem("{}")), "line 4, column 3: \"id\" is missing");
}

TEST(WorkoutFile, RefusesIdentifiersThatAreNoneOrTaken) {
  EXPECT_THAT(errorOf(withItem(item("17", "b.mp4", "video/mp4"))),
              HasSubstr("line 4, column 10: \"17\" is not an identifier"));
  EXPECT_THAT(errorOf(withItem(item("1CD8EB1B-566B-455D-B077-FFBC14D8860A", "b.mp4", "video/mp4"))),
              HasSubstr("the item in line 3 has the same identifier"));
}

TEST(WorkoutFile, RefusesAddressesThatLeadElsewhere) {
  for (const char* url : {"/etc/passwd", "../secret.mp4", "a/../../b.mp4", "a/%2e%2e/b.mp4",
                          "a%2F..%2Fb.mp4", "//host/a.mp4", "a.mp4?x", "a//b.mp4", "%00"}) {
    EXPECT_THAT(errorOf(withItem(item(otherId, url, "video/mp4"))),
                HasSubstr("is not the name of a file in the workout's folder"))
        << url;
  }
  EXPECT_THAT(errorOf(withItem(item(otherId, "file:///a.mp4", "video/mp4"))),
              HasSubstr("\"file:\" are not supported"));
  EXPECT_THAT(errorOf(withItem(item(otherId, "http:///a.mp4", "video/mp4"))),
              HasSubstr("names no host"));
  EXPECT_THAT(errorOf(withItem(item(otherId, "my clip.mp4", "video/mp4"))), HasSubstr("%20"));
}

TEST(WorkoutFile, RefusesTypesThatCannotBeShown) {
  for (const char* type : {"audio/mp3", "video/", "image/", "mp4", ""}) {
    EXPECT_THAT(errorOf(withItem(item(otherId, "b.mp4", type))),
                HasSubstr("is neither a video's type"))
        << type;
  }
}

}  // namespace
}  // namespace tavrin::app
